#!/usr/bin/env bash
# Times text extraction of whole documents by `zopra-pdf text`, `pdftotext`
# and `mutool draw -F txt`, one process per file, and prints each tool's total
# seconds and its ratio to zopra-pdf. Exit codes of the tools are ignored.
#   bench/compare_text.sh [FOLDER|FILE] [ROUNDS] [ZOPRA_PDF]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
where=${1:-$root/../shared/corpus}
rounds=${2:-1}
zopra=${3:-$root/build/tools/zopra-pdf}

# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"
use_files "$where" "$zopra"
zopra_ns=$(time_tool "$zopra" text FILE -)
report "zopra-pdf text" "$zopra_ns" "$zopra_ns"
compare "pdftotext" poppler-utils "$zopra_ns" pdftotext FILE -
compare "mutool draw -F txt" mupdf-tools "$zopra_ns" mutool draw -q -F txt -o /dev/null FILE
