#!/usr/bin/env bash
# Where the time of a state cycle, a buffer round trip and a GStreamer decode through the core goes:
#   strace -f -c  over zvx_omx_flow_bench's state cycle and buffer round trips (system calls per cycle or
#                 round trip, all threads), and the same counts split by thread;
#   perf record   (cpu-clock, DWARF call graphs) over the state cycle and over gst-launch decoding 10 s of
#                 720p H.264 through the core (omxh264dec, lp64-release), reported by thread and symbol.
# Needs strace and perf (linux-perf); a tool that is missing is left out, and the script says so.
# Writes everything into OUT (default a new folder under /tmp) and prints the summaries.
# Usage: bench/zvx_profile.sh [OUT]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/zvx_gstomx.sh

out=${1:-$(mktemp -d "${TMPDIR:-/tmp}/zvx_profile_XXXXXX")}
mkdir -p "$out"
cmake --preset release >/dev/null
nice cmake --build build/release --target zvx_omx_flow_bench >/dev/null
cmake --preset lp64-release >/dev/null
nice cmake --build build/lp64-release --target zvx_omxcore >/dev/null
flow="$PWD/build/release/bench/zvx_omx_flow_bench"
echo "profile: load before: $(cut -d' ' -f1-3 /proc/loadavg); output in $out"

# name filter iterations
cases=("state_cycle ^BM_StateCycle 2000" "empty_round_trip ^BM_EmptyBufferRoundTrip 10000"
  "fill_round_trip ^BM_FillBufferRoundTrip 10000" "peer_state_cycle ^BM_PeerStateCycle/5 2000"
  "peer_empty_round_trip ^BM_PeerEmptyBufferRoundTrip 10000")
if command -v strace >/dev/null; then
  for entry in "${cases[@]}"; do
    read -r name filter iterations <<<"$entry"
    strace -f -c -o "$out/$name.strace-c.txt" "$flow" --benchmark_filter="$filter" >/dev/null 2>&1 || true
    strace -f -o "$out/$name.strace.txt" "$flow" --benchmark_filter="$filter" >/dev/null 2>&1 || true
    echo "==== system calls per iteration, $name ($iterations iterations, set-up included) ===="
    awk -v n="$iterations" '$NF ~ /^(futex|sched_yield|poll|read|write|mmap|munmap|clock_nanosleep|madvise|mprotect)$/ {
        printf "  %-16s %8.2f\n", $NF, $4 / n }' "$out/$name.strace-c.txt"
    echo "  by thread (first thread: the client):"
    awk '{ split($2, call, "("); if (call[1] !~ /^</) n[$1 " " call[1]]++ }
         END { for (k in n) print k, n[k] }' "$out/$name.strace.txt" |
      awk -v n="$iterations" '$3 >= n / 4 { printf "    thread %s %-16s %8.2f\n", $1, $2, $3 / n }' | sort -k2,2n -k4,4nr
  done
else
  echo "profile: strace is not installed: no system-call counts"
fi

if command -v perf >/dev/null && perf stat -e cpu-clock true >/dev/null 2>&1; then
  perf record -q -e cpu-clock -F 4000 --call-graph dwarf,16384 -o "$out/state_cycle.perf.data" \
    "$flow" --benchmark_filter='^BM_StateCycle' >/dev/null 2>&1 || true
  echo "==== perf, state cycle: threads, then symbols (self) ===="
  perf report -i "$out/state_cycle.perf.data" --no-children --sort pid --stdio -g none 2>/dev/null | grep -v '^#' | grep -v '^$' || true
  perf report -i "$out/state_cycle.perf.data" --no-children --sort pid,sym --stdio -g none --percent-limit 1 2>/dev/null |
    grep -v '^#' | grep -v '^$' | head -25 || true
  if command -v gst-launch-1.0 >/dev/null && command -v ffmpeg >/dev/null; then
    stream="$out/720p.mp4"
    ffmpeg -nostdin -v error -y -f lavfi -i "testsrc2=size=1280x720:rate=30" -frames:v 300 -c:v libx264 \
      -preset veryfast -g 30 "$stream"
    zvx_point_gstreamer_at_core "$out" "$PWD/build/lp64-release/omx_core/libzvx_omxcore.so"
    gst-inspect-1.0 omxh264dec >/dev/null 2>&1 || true
    perf record -q -e cpu-clock -F 1000 --call-graph dwarf,16384 -o "$out/gst_decode.perf.data" \
      gst-launch-1.0 -q filesrc location="$stream" ! qtdemux ! h264parse ! omxh264dec ! fakesink >/dev/null 2>&1 || true
    echo "==== perf, gst-launch omxh264dec 720p: threads, libraries, symbols (self) ===="
    perf report -i "$out/gst_decode.perf.data" --no-children --sort pid --stdio -g none 2>/dev/null | grep -v '^#' | grep -v '^$' || true
    perf report -i "$out/gst_decode.perf.data" --no-children --sort dso --stdio -g none 2>/dev/null | grep -v '^#' | grep -v '^$' | head -8 || true
    perf report -i "$out/gst_decode.perf.data" --no-children --sort dso,sym --stdio -g none --percent-limit 1 2>/dev/null |
      grep -v '^#' | grep -v '^$' | grep -v 'libavcodec.*0x0' | head -15 || true
  else
    echo "profile: GStreamer or ffmpeg is not installed: no decode profile"
  fi
else
  echo "profile: perf (linux-perf) is not installed or cannot sample here: no call-graph profiles"
fi
