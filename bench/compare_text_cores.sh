#!/usr/bin/env bash
# Whole-file text extraction of one document, side by side: `zopra-pdf text`
# on 1 thread, on 2 and on every processor, `mutool draw -F txt` and
# pdftotext. Prints each run's best wall-clock seconds over ROUNDS, its peak
# memory (maximum resident set size, from GNU time), how many times faster
# than mutool it is, and the scaling of zopra-pdf from 1 thread to more.
#   bench/compare_text_cores.sh [FILE] [ROUNDS] [ZOPRA_PDF]
# FILE defaults to deb-source2e.pdf of the shared corpus.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
file=${1:-$root/../shared/corpus/deb-source2e.pdf}
rounds=${2:-3}
zopra=${3:-$root/build/tools/zopra-pdf}

[ -x "$zopra" ] || { echo "build $zopra first (cmake --build build --target zopra-pdf)" >&2; exit 1; }
[ -f "$file" ] || { echo "no such file: $file" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "GNU time is needed (Debian package time)" >&2; exit 1; }
cores=$(getconf _NPROCESSORS_ONLN)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# measure COMMAND...: "SECONDS PEAK_KIB", the best time of ROUNDS runs and
# the largest peak among them. Exit codes are ignored.
measure() {
  local best="" peak=0 round seconds kib
  for ((round = 0; round < rounds; ++round)); do
    /usr/bin/time -f '%e %M' -o "$scratch/time" "$@" >/dev/null 2>&1 || true
    read -r seconds kib <"$scratch/time"
    if [ -z "$best" ] || awk -v a="$seconds" -v b="$best" 'BEGIN { exit !(a < b) }'; then best=$seconds; fi
    [ "$kib" -gt "$peak" ] && peak=$kib
  done
  echo "$best $peak"
}

declare -a names results
run() {
  local name=$1
  shift
  names+=("$name")
  results+=("$(measure "$@")")
}

run "zopra-pdf text -j 1" "$zopra" text -j 1 "$file" -
run "zopra-pdf text -j 2" "$zopra" text -j 2 "$file" -
[ "$cores" -gt 2 ] && run "zopra-pdf text -j $cores" "$zopra" text -j "$cores" "$file" -
mutool_seconds=""
if command -v mutool >/dev/null 2>&1; then
  run "mutool draw -F txt" mutool draw -q -F txt -o /dev/null "$file"
  mutool_seconds=$(echo "${results[${#results[@]} - 1]}" | cut -d' ' -f1)
else
  echo "mutool not installed (Debian package mupdf-tools)"
fi
if command -v pdftotext >/dev/null 2>&1; then
  run "pdftotext" pdftotext "$file" -
else
  echo "pdftotext not installed (Debian package poppler-utils)"
fi

echo "$(basename "$file"), best of $rounds round(s), $cores processor(s)"
printf '%-24s %9s %10s %11s\n' tool seconds "peak MiB" "vs mutool"
for i in "${!names[@]}"; do
  read -r seconds kib <<<"${results[$i]}"
  ratio=-
  if [ -n "$mutool_seconds" ]; then
    ratio=$(awk -v m="$mutool_seconds" -v s="$seconds" 'BEGIN { if (s > 0) printf "%.2fx", m / s; else print "-" }')
  fi
  printf '%-24s %9s %10s %11s\n' "${names[$i]}" "$seconds" "$(awk -v k="$kib" 'BEGIN { printf "%.1f", k / 1024 }')" "$ratio"
done
one=$(echo "${results[0]}" | cut -d' ' -f1)
two=$(echo "${results[1]}" | cut -d' ' -f1)
awk -v a="$one" -v b="$two" 'BEGIN { if (b > 0) printf "scaling, -j 2 against -j 1: %.2fx\n", a / b }'
