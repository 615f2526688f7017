#!/usr/bin/env bash
# Builds the libFuzzer targets (preset fuzz) and runs each for as long as asked:
#   scripts/fuzz.sh [-t SECONDS] [-n RUNS] [FUZZER...]
# -t bounds each fuzzer's time (default 60 s), -n its executions; with both, the first reached ends
# it. Without names every fuzzer listed by the build (build/fuzz/fuzzers.txt) runs, one after the
# other. New inputs join build/fuzz/<dir>/<fuzzer>_corpus; crashes go to build/fuzz/artifacts/.
# A program listed as "@timed" (the client-sequence player, zvx_omx_sequence) searches by seeds of its
# own: it runs for the same time (--seconds) or as many sequences as -n asks (--sequences), and prints
# each failing seed.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=""
runs=-1
while getopts "t:n:" option; do
  case "$option" in
    t) seconds="$OPTARG" ;;
    n) runs="$OPTARG" ;;
    *) echo "usage: scripts/fuzz.sh [-t SECONDS] [-n RUNS] [FUZZER...]" >&2; exit 2 ;;
  esac
done
shift $((OPTIND - 1))
if [[ -z "$seconds" ]]; then
  if ((runs < 0)); then seconds=60; else seconds=0; fi # 0: no time bound
fi

scripts/setup.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# A small quarantine keeps memory reused, which more than doubles the executions per second.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:quarantine_size_mb=4:malloc_context_size=4}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
mkdir -p build/fuzz/artifacts
status=0
while read -r name program seeds; do
  if (($# > 0)) && [[ " $* " != *" $name "* ]]; then continue; fi
  echo "==== ${name} ===="
  if [[ "$seeds" == "@timed" ]]; then
    bounds=()
    if ((seconds > 0)); then bounds+=("--seconds=${seconds}"); fi
    if ((runs > 0)); then bounds+=("--sequences=${runs}"); fi
    if ! "$program" "${bounds[@]}"; then
      status=1
    fi
    continue
  fi
  if ! "$program" -max_total_time="$seconds" -runs="$runs" -print_final_stats=1 \
       -artifact_prefix="build/fuzz/artifacts/${name}-" "$(dirname "$program")/${name}_corpus" "$seeds"; then
    status=1
  fi
done < build/fuzz/fuzzers.txt
exit "$status"
