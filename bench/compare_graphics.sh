#!/usr/bin/env bash
# Times graphics and image listing of whole documents, one process per file:
# `zopra-pdf graphics` beside `mutool trace` (Debian package mupdf-tools), and
# `zopra-pdf images --list` beside `pdfimages -list` (poppler-utils). Prints
# each tool's total seconds and its ratio to the zopra-pdf command it stands
# beside. Exit codes of the tools are ignored.
#   bench/compare_graphics.sh [FOLDER|FILE] [ROUNDS] [ZOPRA_PDF]
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
graphics_ns=$(time_tool "$zopra" graphics FILE)
report "zopra-pdf graphics" "$graphics_ns" "$graphics_ns"
if command -v mutool >/dev/null 2>&1; then
  report "mutool trace" "$(time_tool mutool trace FILE)" "$graphics_ns"
else
  echo "mutool not installed (Debian package mupdf-tools)"
fi
images_ns=$(time_tool "$zopra" images --list FILE)
report "zopra-pdf images" "$images_ns" "$images_ns"
if command -v pdfimages >/dev/null 2>&1; then
  report "pdfimages -list" "$(time_tool pdfimages -list FILE)" "$images_ns"
else
  echo "pdfimages not installed (Debian package poppler-utils)"
fi
