# Shared by the compare_*.sh scripts. Expects `files` (array) and `rounds`.

# Runs the command for every file, ROUNDS times, the word FILE in the command
# standing for the file; prints the elapsed nanoseconds. Exit codes are
# ignored: some files are meant to fail.
#
# With hyperfine installed (Debian package hyperfine) each file is timed by
# hyperfine without a shell in between (ROUNDS runs after one warm-up) and the
# per-file means are added up; otherwise a shell loop measures the whole run,
# which adds the loop's own fork and exec cost to every tool alike.
time_tool() {
  if command -v hyperfine >/dev/null 2>&1 && command -v python3 >/dev/null 2>&1; then
    time_with_hyperfine "$@"
    return
  fi
  local start end round file
  start=$(date +%s%N)
  for ((round = 0; round < rounds; ++round)); do
    for file in "${files[@]}"; do
      timeout 120 "${@//FILE/$file}" >/dev/null 2>&1 || true
    done
  done
  end=$(date +%s%N)
  echo $((end - start))
}

time_with_hyperfine() {
  local file total=0 json mean
  json=$(mktemp)
  for file in "${files[@]}"; do
    hyperfine -N -i --warmup 1 --runs "$rounds" --time-unit millisecond \
      --export-json "$json" "${*//FILE/$file}" >/dev/null 2>&1 || true
    mean=$(python3 -c 'import json,sys; print(int(json.load(open(sys.argv[1]))["results"][0]["mean"] * 1e9))' "$json" 2>/dev/null || echo 0)
    total=$((total + mean))
  done
  rm -f "$json"
  echo "$total"
}

# report NAME NANOSECONDS BASE_NANOSECONDS
report() {
  awk -v name="$1" -v ns="$2" -v base="$3" 'BEGIN {
    printf "%-22s %8.3f s   %6.2f x zopra-pdf\n", name, ns / 1e9, (base > 0 ? ns / base : 0) }'
}
