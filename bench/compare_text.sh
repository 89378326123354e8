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

[ -x "$zopra" ] || { echo "build $zopra first (cmake --build build --target zopra-pdf)" >&2; exit 1; }
shopt -s nullglob
if [ -f "$where" ]; then files=("$where"); else files=("$where"/*.pdf); fi
[ ${#files[@]} -gt 0 ] || { echo "no PDF files in $where" >&2; exit 1; }

# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"

echo "${#files[@]} file(s) from $where, $rounds round(s), one process per file"
zopra_ns=$(time_tool "$zopra" text FILE -)
report "zopra-pdf text" "$zopra_ns" "$zopra_ns"
if command -v pdftotext >/dev/null 2>&1; then
  report "pdftotext" "$(time_tool pdftotext FILE -)" "$zopra_ns"
else
  echo "pdftotext not installed (Debian package poppler-utils)"
fi
if command -v mutool >/dev/null 2>&1; then
  report "mutool draw -F txt" "$(time_tool mutool draw -q -F txt -o /dev/null FILE)" "$zopra_ns"
else
  echo "mutool not installed (Debian package mupdf-tools)"
fi
