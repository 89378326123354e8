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

# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"
use_files "$where" "$zopra"
graphics_ns=$(time_tool "$zopra" graphics FILE)
report "zopra-pdf graphics" "$graphics_ns" "$graphics_ns"
compare "mutool trace" mupdf-tools "$graphics_ns" mutool trace FILE
images_ns=$(time_tool "$zopra" images --list FILE)
report "zopra-pdf images" "$images_ns" "$images_ns"
compare "pdfimages -list" poppler-utils "$images_ns" pdfimages -list FILE
