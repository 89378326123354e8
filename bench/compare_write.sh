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

[ -x "$zopra" ] || { echo "build $zopra first (cmake --build build --target zopra-pdf)" >&2; exit 1; }
shopt -s nullglob
files=("$folder"/*.pdf)
[ ${#files[@]} -gt 0 ] || { echo "no PDF files in $folder" >&2; exit 1; }
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"

echo "${#files[@]} files from $folder, $rounds rounds, one process per file"
zopra_ns=$(time_tool "$zopra" rewrite --plain FILE "$out/zopra.pdf")
report "zopra-pdf rewrite --plain" "$zopra_ns" "$zopra_ns"
if command -v qpdf >/dev/null 2>&1; then
  report "qpdf --decrypt" "$(time_tool qpdf --decrypt --object-streams=disable FILE "$out/qpdf.pdf")" "$zopra_ns"
else
  echo "qpdf not installed"
fi
