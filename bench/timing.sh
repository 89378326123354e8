# Shared by the compare_*.sh scripts. Expects `files` (array) and `rounds`.

# Runs the command for every file, ROUNDS times, the word FILE in the command
# standing for the file; prints the elapsed nanoseconds. Exit codes are
# ignored: some files are meant to fail.
time_tool() {
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

# report NAME NANOSECONDS BASE_NANOSECONDS
report() {
  awk -v name="$1" -v ns="$2" -v base="$3" 'BEGIN {
    printf "%-22s %8.3f s   %6.2f x zopra-pdf\n", name, ns / 1e9, (base > 0 ? ns / base : 0) }'
}
