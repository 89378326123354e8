# Shared by the compare_*.sh scripts: choosing the files, timing a tool over
# them and reporting it. The timing expects `files` (array) and `rounds`.

# use_files WHERE ZOPRA_PDF: sets `files` to WHERE when it is a file, else to
# the PDF files of the folder WHERE; stops when there are none or when the
# tool ZOPRA_PDF is not built.
use_files() {
  [ -x "$2" ] || { echo "build $2 first (cmake --build build --target zopra-pdf)" >&2; exit 1; }
  shopt -s nullglob
  if [ -f "$1" ]; then files=("$1"); else files=("$1"/*.pdf); fi
  [ ${#files[@]} -gt 0 ] || { echo "no PDF files in $1" >&2; exit 1; }
  echo "${#files[@]} file(s) from $1, $rounds round(s), one process per file"
}

# compare NAME PACKAGE BASE_NANOSECONDS COMMAND...: times COMMAND (FILE
# standing for each file) and reports it against the base, or says which
# Debian package to install when its program is missing.
compare() {
  local name=$1 package=$2 base=$3
  shift 3
  if command -v "$1" >/dev/null 2>&1; then
    report "$name" "$(time_tool "$@")" "$base"
  else
    echo "$1 not installed (Debian package $package)"
  fi
}

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

# measure_resources SCRATCH ROUNDS COMMAND...: runs COMMAND (output dropped,
# exit code ignored) ROUNDS times under GNU time and prints
# "WALL USER SYS PEAK_KIB" of the round with the best wall-clock time, with
# the largest peak resident memory of all rounds. SCRATCH is a folder for
# GNU time's report.
measure_resources() {
  local scratch=$1 rounds=$2 best="" cpu="" peak=0 round wall user sys kib
  shift 2
  for ((round = 0; round < rounds; ++round)); do
    /usr/bin/time -f '%e %U %S %M' -o "$scratch/time" "$@" >/dev/null 2>&1 || true
    read -r wall user sys kib < <(tail -n 1 "$scratch/time")
    if [ -z "$best" ] || awk -v a="$wall" -v b="$best" 'BEGIN { exit !(a < b) }'; then
      best=$wall
      cpu="$user $sys"
    fi
    [ "$kib" -gt "$peak" ] && peak=$kib
  done
  echo "$best $cpu $peak"
}
