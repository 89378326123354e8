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

[ -x "$zopra" ] || { echo "build $zopra first (cmake --build build --target zopra-pdf)" >&2; exit 1; }
shopt -s nullglob
files=("$folder"/*.pdf)
[ ${#files[@]} -gt 0 ] || { echo "no PDF files in $folder" >&2; exit 1; }

# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"

echo "${#files[@]} files from $folder, $rounds rounds, one process per file"
zopra_ns=$(time_tool "$zopra" info FILE)
report "zopra-pdf info" "$zopra_ns" "$zopra_ns"
if command -v pdfinfo >/dev/null 2>&1; then
  report "pdfinfo" "$(time_tool pdfinfo FILE)" "$zopra_ns"
else
  echo "pdfinfo not installed"
fi
if command -v qpdf >/dev/null 2>&1; then
  report "qpdf --show-npages" "$(time_tool qpdf --show-npages FILE)" "$zopra_ns"
else
  echo "qpdf not installed"
fi
