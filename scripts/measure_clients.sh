#!/usr/bin/env bash
# Times GStreamer decoding 300 frames of 320x240 H.264 through the core (omxh264dec, optimised LP64 build)
# beside FFmpeg's software decoder (avdec_h264), in the same run and from the same file. The core's
# devices run the pattern engine here (ZVX_DEVICE_ENGINE=pattern), which does no real decode, so the
# difference is the component's and the core's per-frame cost.
# Prints the median wall time of each over RUNS runs (default 5, alternating) and frames per second.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/zvx_gstomx.sh
export ZVX_DEVICE_ENGINE=pattern

runs=${1:-5}
frames=300
scripts/setup.sh
cmake --preset lp64-release >/dev/null
cmake --build --preset lp64-release
core="$PWD/build/lp64-release/omx_core/libzvx_omxcore.so"

work=$(mktemp -d "${TMPDIR:-/tmp}/zvx_measure_XXXXXX")
trap 'rm -rf "$work"' EXIT
zvx_point_gstreamer_at_core "$work" "$core"
gst-inspect-1.0 omxh264dec >/dev/null
gst-launch-1.0 -q videotestsrc num-buffers=$frames ! video/x-raw,format=I420,width=320,height=240,framerate=30/1 \
  ! x264enc ! h264parse ! video/x-h264,stream-format=byte-stream ! filesink location="$work/stream.h264"

# decode OPTION [SINK-PROPERTY...]: $decoder from the file into fakesink; a run that hangs is ended
# after a minute.
decode() {
  local option=$1
  shift
  timeout 60 gst-launch-1.0 "$option" filesrc location="$work/stream.h264" ! h264parse ! "$decoder" ! fakesink "$@"
}

# A decoder that stops early would look fast: each must first deliver every frame.
for decoder in omxh264dec avdec_h264; do
  delivered=$(decode -v silent=false 2>&1 | grep -c 'chain .*(fakesink0:sink)' || true)
  if ((delivered != frames)); then
    echo "measure: $decoder delivered $delivered of $frames frames" >&2
    exit 1
  fi
done

# Microseconds of wall time per run, one line per run, in $work/<decoder>.
for ((run = 0; run < runs; run++)); do
  for decoder in omxh264dec avdec_h264; do
    start=${EPOCHREALTIME/./}
    decode -q >/dev/null 2>&1
    echo $((${EPOCHREALTIME/./} - start)) >>"$work/$decoder"
  done
done

median() { sort -n "$work/$1" | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
omx=$(median omxh264dec)
soft=$(median avdec_h264)
echo "==== GStreamer decode, $frames frames 320x240, median of $runs runs ===="
for decoder in omxh264dec avdec_h264; do
  us=$(median "$decoder")
  awk -v d="$decoder" -v us="$us" -v n=$frames 'BEGIN { printf "%-11s %8.1f ms %8.1f fps\n", d, us / 1000, n * 1e6 / us }'
done
awk -v a="$omx" -v b="$soft" 'BEGIN { printf "ratio       %8.2f (omxh264dec / avdec_h264 wall time, target <= 0.30)\n", a / b }'
