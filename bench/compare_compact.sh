#!/usr/bin/env bash
# Output size and time of compact against plain writing, beside qpdf:
# - per file of the folder, the bytes written by `zopra-pdf rewrite` (compact,
#   the default), `zopra-pdf rewrite --plain`, `qpdf` (object streams kept) and
#   `qpdf --object-streams=disable`, with the count of files whose compact
#   rewrite is at most 1.05 times the latter and whose output qpdf --check
#   accepts;
# - the total time of each of the four over all files;
# - the replacement cycle (bench_replace: every item removed and drawn again)
#   written plain and compact.
#   bench/compare_compact.sh [FOLDER] [ROUNDS] [BUILD]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folder=${1:-$root/../shared/corpus}
rounds=${2:-1}
build=${3:-$root/build}
zopra=$build/tools/zopra-pdf

[ -x "$zopra" ] || { echo "build $zopra first (cmake --build build --target zopra-pdf)" >&2; exit 1; }
command -v qpdf >/dev/null 2>&1 || { echo "qpdf is not installed" >&2; exit 1; }
shopt -s nullglob
files=("$folder"/*.pdf)
[ ${#files[@]} -gt 0 ] || { echo "no PDF files in $folder" >&2; exit 1; }
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"

size() { if [ -f "$1" ]; then stat -c %s "$1"; else echo -; fi; }

echo "${#files[@]} files from $folder"
printf '%-34s %10s %10s %10s %10s %10s  %s\n' file input compact plain qpdf qpdf-noos "compact/noos check"
within=0 compared=0 checked=0 written=0
for file in "${files[@]}"; do
  rm -f "$out"/*.pdf
  "$zopra" rewrite "$file" "$out/compact.pdf" >/dev/null 2>&1 || true
  "$zopra" rewrite --plain "$file" "$out/plain.pdf" >/dev/null 2>&1 || true
  qpdf --decrypt "$file" "$out/qpdf.pdf" >/dev/null 2>&1 || true
  qpdf --decrypt --object-streams=disable "$file" "$out/noos.pdf" >/dev/null 2>&1 || true
  ratio=- check=-
  if [ -f "$out/compact.pdf" ]; then
    written=$((written + 1))
    if qpdf --check "$out/compact.pdf" >/dev/null 2>&1; then check=ok; checked=$((checked + 1)); else check=FAILS; fi
    if [ -f "$out/noos.pdf" ]; then
      compared=$((compared + 1))
      ratio=$(awk -v a="$(size "$out/compact.pdf")" -v b="$(size "$out/noos.pdf")" 'BEGIN { printf "%.3f", a / b }')
      if awk -v r="$ratio" 'BEGIN { exit !(r <= 1.05) }'; then within=$((within + 1)); fi
    fi
  fi
  printf '%-34s %10s %10s %10s %10s %10s  %s %s\n' "$(basename "$file" | cut -c1-34)" "$(size "$file")" \
    "$(size "$out/compact.pdf")" "$(size "$out/plain.pdf")" "$(size "$out/qpdf.pdf")" "$(size "$out/noos.pdf")" \
    "$ratio" "$check"
done
echo "compact rewrite <= 1.05 x qpdf --object-streams=disable: $within of $compared files;" \
  "qpdf --check accepts $checked of $written compact outputs"

echo
echo "time over all files, $rounds round(s), one process per file"
compact_ns=$(time_tool "$zopra" rewrite FILE "$out/compact.pdf")
report "zopra-pdf rewrite (compact)" "$compact_ns" "$compact_ns"
report "zopra-pdf rewrite --plain" "$(time_tool "$zopra" rewrite --plain FILE "$out/plain.pdf")" "$compact_ns"
report "qpdf --decrypt" "$(time_tool qpdf --decrypt FILE "$out/qpdf.pdf")" "$compact_ns"
report "qpdf --decrypt --object-streams=disable" \
  "$(time_tool qpdf --decrypt --object-streams=disable FILE "$out/noos.pdf")" "$compact_ns"

if [ -x "$build/bench/bench_replace" ]; then
  for writer in plain compact; do
    echo
    echo "replacement cycle, written $writer:"
    "$build/bench/bench_replace" "$folder" /usr/share/fonts/truetype/dejavu/DejaVuSans.ttf 1 "$writer" |
      grep -E '^(pages|time|output):' || true
  done
fi
