#!/usr/bin/env bash
# Text extraction and the replacement cycle of one document, in one run:
# - `zopra-pdf text` at -j 1 and -j 2 beside `mutool draw -F txt` and
#   pdftotext;
# - `zopra-pdf items -j 1` (every item of every page);
# - the cycle: bench_replace (per-phase times, compact output) and
#   `zopra-pdf replace` with every item's own text as the map, at -j 1 and
#   -j 2 when the tool takes -j (bench_replace reports its own times and
#   peak memory; its fastest round counts);
# each with its best wall-clock time over ROUNDS, the CPU time (user + system)
# of that round and the largest peak memory (GNU time), then the ratios:
# text against mutool, -j 2 against -j 1, cycle against items, extract phase
# against items.
#   bench/compare_cycle.sh [FILE] [ROUNDS] [BUILD]
# FILE defaults to deb-source2e.pdf of the shared corpus, BUILD to build/.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
file=${1:-$root/../shared/corpus/deb-source2e.pdf}
rounds=${2:-3}
build=${3:-$root/build}
zopra=$build/tools/zopra-pdf
bench_replace=$build/bench/bench_replace
font=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
# shellcheck source=bench/timing.sh
. "$root/bench/timing.sh"

for program in "$zopra" "$bench_replace"; do
  [ -x "$program" ] || { echo "build $program first (cmake --build build)" >&2; exit 1; }
done
[ -f "$file" ] || { echo "no such file: $file" >&2; exit 1; }
[ -f "$font" ] || { echo "no font at $font (Debian package fonts-dejavu-core)" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "GNU time is needed (Debian package time)" >&2; exit 1; }
command -v python3 >/dev/null 2>&1 || { echo "python3 is needed to write the replace map" >&2; exit 1; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

declare -A wall
names=()
run() {
  local name=$1 result
  shift
  result=$(measure_resources "$scratch" "$rounds" "$@")
  names+=("$name")
  wall[$name]=${result%% *}
  printf '%-26s %8s %8s %9s\n' "$name" "${wall[$name]}" \
    "$(awk -v u="$(echo "$result" | cut -d' ' -f2)" -v s="$(echo "$result" | cut -d' ' -f3)" 'BEGIN { printf "%.2f", u + s }')" \
    "$(awk -v k="$(echo "$result" | cut -d' ' -f4)" 'BEGIN { printf "%.1f", k / 1024 }')"
}
# ratio A B: A / B of two wall times (names), or "-" when one is missing.
ratio() {
  awk -v a="${wall[$1]:-}" -v b="${wall[$2]:-}" 'BEGIN { if (a != "" && b > 0) printf "%.2fx", a / b; else print "-" }'
}

echo "$(basename "$file"), best of $rounds round(s), $(getconf _NPROCESSORS_ONLN) processor(s)"
printf '%-26s %8s %8s %9s\n' run "wall s" "cpu s" "peak MiB"
run "text -j 1" "$zopra" text -j 1 "$file" -
run "text -j 2" "$zopra" text -j 2 "$file" -
if command -v mutool >/dev/null 2>&1; then
  run "mutool draw -F txt" mutool draw -q -F txt -o /dev/null "$file"
else
  echo "mutool not installed (Debian package mupdf-tools)"
fi
if command -v pdftotext >/dev/null 2>&1; then
  run "pdftotext" pdftotext "$file" /dev/null
else
  echo "pdftotext not installed (Debian package poppler-utils)"
fi
run "items -j 1" "$zopra" items -j 1 "$file"

# Every item replaced by its own text, as bench_replace does.
"$zopra" items -j 1 --json "$file" >"$scratch/items.json" 2>/dev/null || true
python3 - "$scratch/items.json" "$scratch/map.json" <<'PY'
import json, sys
items = [{"page": i["page"], "item": i["item"], "text": i["text"]}
         for document in [json.load(open(sys.argv[1], encoding="utf-8"))]
         for page in document["pages"] for i in page["items"]]
json.dump(items, open(sys.argv[2], "w", encoding="utf-8"))
PY
if "$zopra" replace --help 2>&1 | grep -q -- '-j N'; then
  run "replace -j 1" "$zopra" replace -j 1 "$file" "$scratch/out.pdf" --map "$scratch/map.json" --font "$font"
  run "replace -j 2" "$zopra" replace -j 2 "$file" "$scratch/out.pdf" --map "$scratch/map.json" --font "$font"
else
  run "replace" "$zopra" replace "$file" "$scratch/out.pdf" --map "$scratch/map.json" --font "$font"
fi
# bench_replace times itself: its fastest round gives the cycle and its steps.
cycle=""
for ((round = 0; round < rounds; ++round)); do
  "$bench_replace" "$file" "$font" 1 compact >"$scratch/round.txt" 2>/dev/null || true
  seconds=$(sed -n 's/^pages:.* \([0-9.]*\) s$/\1/p' "$scratch/round.txt")
  if [ -n "$seconds" ] && { [ -z "$cycle" ] || awk -v a="$seconds" -v b="$cycle" 'BEGIN { exit !(a < b) }'; }; then
    cycle=$seconds
    cp "$scratch/round.txt" "$scratch/cycle.txt"
  fi
done
[ -n "$cycle" ] || { echo "bench_replace failed" >&2; exit 1; }
grep -E '^(pages|speed|time|peak)' "$scratch/cycle.txt" | sed 's/^/bench_replace /'
wall["cycle"]=$cycle
wall["extract phase"]=$(sed -n 's/^time: *extract \([0-9.]*\) s.*/\1/p' "$scratch/cycle.txt")

echo "text -j 1 against mutool:      $(ratio "mutool draw -F txt" "text -j 1") faster"
echo "text -j 2 against mutool:      $(ratio "mutool draw -F txt" "text -j 2") faster"
echo "scaling, text -j 2 / -j 1:     $(ratio "text -j 1" "text -j 2")"
if [ -n "${wall[replace -j 1]:-}" ]; then
  echo "scaling, replace -j 2 / -j 1:  $(ratio "replace -j 1" "replace -j 2")"
  echo "replace -j 1 / items -j 1:     $(ratio "replace -j 1" "items -j 1")"
else
  echo "replace / items -j 1:          $(ratio "replace" "items -j 1")"
fi
echo "cycle (bench_replace) / items: $(ratio "cycle" "items -j 1")"
echo "extract phase / items:         $(ratio "extract phase" "items -j 1")"
