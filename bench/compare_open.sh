#!/usr/bin/env bash
# Times `zopra-pdf info`, `pdfinfo` and `qpdf --show-npages` over the same PDF
# files, one process per file, and prints the total seconds of each tool and
# its ratio to zopra-pdf. Exit codes of the tools are ignored (some files are
# meant to fail).
#   bench/compare_open.sh [FOLDER] [ROUNDS] [ZOPRA_PDF]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folder=${1:-$root/../shared/corpus}
rounds=${2:-3}
zopra=${3:-$root/build/tools/zopra-pdf}

# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"
use_files "$folder" "$zopra"
zopra_ns=$(time_tool "$zopra" info FILE)
report "zopra-pdf info" "$zopra_ns" "$zopra_ns"
compare "pdfinfo" poppler-utils "$zopra_ns" pdfinfo FILE
compare "qpdf --show-npages" qpdf "$zopra_ns" qpdf --show-npages FILE
