#!/usr/bin/env bash
# Times paragraph translation of one document in one run, beside the plain
# item listing: `zopra-pdf items`, `zopra-pdf segments`, `replace
# --segments` with every segment's own text (the whole document written
# again), and the round trip (`segments`, then that `replace`), in
# pages per second, with the round trip's ratio to `items` (target: at most
# 3). The default file is the corpus's deb-source2e.pdf.
#   bench/compare_segments.sh [FILE] [ROUNDS] [ZOPRA_PDF]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
file=${1:-$root/../shared/corpus/deb-source2e.pdf}
rounds=${2:-1}
zopra=${3:-$root/build/tools/zopra-pdf}

[ -x "$zopra" ] || { echo "build $zopra first (cmake --build build --target zopra-pdf)" >&2; exit 1; }
[ -f "$file" ] || { echo "no file $file" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/tmp}/zopra-segments-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT INT TERM
pages=$("$zopra" info "$file" | sed -n 's/^pages: //p')

# seconds NAME COMMAND...: the mean wall time of ROUNDS runs, in nanoseconds.
elapsed() {
  local start end round
  start=$(date +%s%N)
  for ((round = 0; round < rounds; ++round)); do "$@" >/dev/null 2>&1 || true; done
  end=$(date +%s%N)
  echo $(((end - start) / rounds))
}
round_trip() {
  "$zopra" segments "$file" "$work/segments.json" && "$zopra" replace "$file" "$work/out.pdf" --segments "$work/segments.json"
}
items_ns=$(elapsed "$zopra" items "$file")
segments_ns=$(elapsed "$zopra" segments "$file" "$work/only.json")
replace_ns=$(elapsed "$zopra" replace "$file" "$work/out.pdf" --segments "$work/only.json")
trip_ns=$(elapsed round_trip)
echo "$file: $pages pages, $rounds round(s)"
for row in "items:$items_ns" "segments:$segments_ns" "replace:$replace_ns" "round trip:$trip_ns"; do
  name=${row%%:*} ns=${row##*:}
  awk -v name="$name" -v ns="$ns" -v pages="$pages" -v base="$items_ns" 'BEGIN {
    printf "  %-12s %8.2f s  %8.1f pages/s  %5.2f x items\n", name, ns / 1e9, pages / (ns / 1e9), ns / base }'
done
