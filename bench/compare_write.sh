#!/usr/bin/env bash
# Times `zopra-pdf rewrite --plain IN OUT` (no compaction) and `qpdf --decrypt --object-streams=disable
# IN OUT` over the same PDF files, one process per file, and prints the total
# seconds of each and its ratio to zopra-pdf. Exit codes of the tools are
# ignored (some files are meant to fail).
#   bench/compare_write.sh [FOLDER] [ROUNDS] [ZOPRA_PDF]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folder=${1:-$root/../shared/corpus}
rounds=${2:-3}
zopra=${3:-$root/build/tools/zopra-pdf}

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"
use_files "$folder" "$zopra"
zopra_ns=$(time_tool "$zopra" rewrite --plain FILE "$out/zopra.pdf")
report "zopra-pdf rewrite --plain" "$zopra_ns" "$zopra_ns"
compare "qpdf --decrypt" qpdf "$zopra_ns" qpdf --decrypt --object-streams=disable FILE "$out/qpdf.pdf"
