#!/usr/bin/env bash
# Resource-failure run of "ZVX Unit Tests" in the fault-injection build: every product test runs
# once per allocation point with that allocation failing (zvx_unit_omx --resfail), and a crash, a
# hang or a sanitizer report at one point does not stop the points after it.
#   scripts/resfail.sh [PROGRAM]
# Without PROGRAM the faults preset is built and its zvx_unit_omx used. Prints a line per test and a
# total; the exit status is 1 when any point crashed, hung or leaked, else 0 (tests may fail).
set -uo pipefail
cd "$(dirname "$0")/.."

program="${1:-}"
if [[ -z "$program" ]]; then
  scripts/setup.sh
  cmake --preset faults >/dev/null && cmake --build --preset faults --target zvx_unit_omx || exit 2
  program=build/faults/test/zvx_unit_omx/zvx_unit_omx
fi
seconds_per_run=120
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

total_tests=0 total_points=0 total_crashes=0 total_hangs=0 leaking_tests=0
output=$(mktemp)
trap 'rm -f "$output"' EXIT

while IFS=$'\t' read -r suite id; do
  total_tests=$((total_tests + 1))
  start=1 points=0 crashes=() hangs=() leaked=no
  while :; do
    timeout "$seconds_per_run" "$program" "--suite=$suite" "--testid=$id" "--resfail-start=$start" -i \
      >"$output" 2>&1
    status=$?
    # Each point's run logs one "Running:" line; the last one logged is where the run ended.
    runs=$(grep -c '^Running: ' "$output")
    last=$((start + (runs > 0 ? runs - 1 : 0)))
    if ((status == 124)); then
      hangs+=("$last")
    elif grep -qE 'ERROR: AddressSanitizer|runtime error:|^Error: signal' "$output" || ((status > 128)); then
      crashes+=("$last")
    else
      grep -q 'LeakSanitizer: detected memory leaks' "$output" && leaked=yes
      points=$((last - 1)) # the last run reached no failure point
      break
    fi
    start=$((last + 1))
  done
  total_points=$((total_points + points))
  total_crashes=$((total_crashes + ${#crashes[@]}))
  total_hangs=$((total_hangs + ${#hangs[@]}))
  [[ $leaked == yes ]] && leaking_tests=$((leaking_tests + 1))
  printf '%s #%s: %d points, %d crashed%s, %d hung%s, leaks: %s\n' "$suite" "$id" "$points" "${#crashes[@]}" \
    "${crashes[*]:+ (at ${crashes[*]})}" "${#hangs[@]}" "${hangs[*]:+ (at ${hangs[*]})}" "$leaked"
done < <("$program" --resfail --list-tests 2>/dev/null |
           sed -n 's/.* --suite="\([^"]*\)" --test=".*" --testid=\([0-9]*\)$/\1\t\2/p')

echo "resfail: ${total_tests} tests, ${total_points} allocation points, ${total_crashes} crashed," \
     "${total_hangs} hung, ${leaking_tests} tests leaking"
((total_crashes == 0 && total_hangs == 0 && leaking_tests == 0))
