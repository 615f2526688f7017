#!/usr/bin/env bash
# Real pipelines through the OpenMAX core (optimised LP64 build, the device's libavcodec engine) beside
# the same work done by FFmpeg's and GStreamer's own software paths, in one run:
#   decode  300 frames of 1080p H.264 with B-frames (made by x264 here): gst-launch omxh264dec beside
#           avdec_h264 into fakesink, and zvx_omx_run --input beside ffmpeg -f null; frames per second
#           and peak resident memory of each;
#   encode  300 frames of 1080p through FFmpeg's h264_omx beside libx264 at the device's preset and tune
#           (veryfast, zerolatency) and the same bitrate; frames per second and peak memory.
# Each decoder runs with libavcodec's automatic thread count, as the device's does. Prints the median
# of RUNS runs (default 3, alternating within a pair) and a ratio line per pair. A peer whose package
# is missing is left out, and the script says so.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/zvx_gstomx.sh

runs=${1:-3}
frames=300
bitrate=8000000
cmake --preset lp64-release >/dev/null
cmake --build build/lp64-release --target zvx_omxcore zvx_omx_run >/dev/null
core="$PWD/build/lp64-release/omx_core/libzvx_omxcore.so"
run_program="$PWD/build/lp64-release/omx_run/zvx_omx_run"

work=$(mktemp -d "${TMPDIR:-/tmp}/zvx_pipelines_XXXXXX")
trap 'rm -rf "$work"' EXIT
has_gst=0 has_avdec=0 has_ffmpeg=0 has_h264_omx=0 has_x264=0
command -v gst-launch-1.0 >/dev/null && gst-inspect-1.0 h264parse >/dev/null 2>&1 && has_gst=1
((has_gst)) && gst-inspect-1.0 avdec_h264 >/dev/null 2>&1 && has_avdec=1
command -v ffmpeg >/dev/null && has_ffmpeg=1
encoders=$( ((has_ffmpeg)) && ffmpeg -hide_banner -encoders 2>/dev/null || true)
[[ $encoders == *" h264_omx "* ]] && has_h264_omx=1
[[ $encoders == *" libx264 "* ]] && has_x264=1
if ((!has_ffmpeg || !has_x264)); then
  echo "pipelines: ffmpeg with libx264 is needed to make the stream (scripts/setup.sh installs it)" >&2
  exit 1
fi
((has_gst)) || echo "pipelines: GStreamer (gstreamer1.0-tools, -plugins-bad, -omx-generic) is not installed: no GStreamer pair"
((has_avdec)) || echo "pipelines: gst-libav (gstreamer1.0-libav) is not installed: no avdec_h264 peer"
((has_h264_omx)) || echo "pipelines: this ffmpeg has no h264_omx encoder: no encode pair"

stream="$work/1080p.h264"
ffmpeg -nostdin -v error -f lavfi -i "testsrc2=size=1920x1080:rate=30" -frames:v $frames \
  -c:v libx264 -preset veryfast -bf 3 -b:v $bitrate "$stream"
source_pictures=(-f lavfi -i "testsrc2=size=1920x1080:rate=30" -frames:v $frames -pix_fmt yuv420p)

zvx_point_gstreamer_at_core "$work" "$core"
((has_gst)) && gst-inspect-1.0 omxh264dec >/dev/null

# The command line of each side, by name.
declare -A side=(
  [omxh264dec]="gst-launch-1.0 -q filesrc location=$stream ! h264parse ! omxh264dec ! fakesink"
  [avdec_h264]="gst-launch-1.0 -q filesrc location=$stream ! h264parse ! avdec_h264 max-threads=0 ! fakesink"
  [zvx_omx_run]="$run_program --no-progress --input=$stream"
  [ffmpeg_decode]="ffmpeg -nostdin -v error -threads 0 -i $stream -f null -"
  [h264_omx]="ffmpeg -nostdin -v error ${source_pictures[*]} -c:v h264_omx -omx_libname $core -b:v $bitrate -f null -"
  [libx264]="ffmpeg -nostdin -v error ${source_pictures[*]} -c:v libx264 -preset veryfast -tune zerolatency -b:v $bitrate -f null -"
)
pairs=()
((has_gst && has_avdec)) && pairs+=("omxh264dec avdec_h264")
pairs+=("zvx_omx_run ffmpeg_decode")
((has_h264_omx)) && pairs+=("h264_omx libx264")

# A side that stops early would look fast: each must first deliver every frame, within two minutes.
limit="timeout -k 10 120"
frames_of() {
  case $1 in
    omxh264dec | avdec_h264) $limit ${side[$1]/-q/-v} silent=false 2>&1 | grep -c 'chain .*(fakesink0:sink)' || true ;;
    zvx_omx_run) $limit ${side[$1]} | sed -n 's/^frames: *[0-9]* sent, \([0-9]*\) out$/\1/p' || true ;;
    *) $limit ${side[$1]/-v error/-v info} -stats 2>&1 | tr '\r' '\n' | sed -n 's/^frame= *\([0-9]*\).*/\1/p' | tail -1 || true ;;
  esac
}
# A pair whose either side falls short is reported and left out of the timings.
measured=()
for pair in "${pairs[@]}"; do
  whole=1
  for name in $pair; do
    delivered=$(frames_of "$name")
    if [[ "$delivered" != "$frames" ]]; then
      echo "pipelines: $name delivered ${delivered:-no} frames of $frames; its pair is left out"
      whole=0
    fi
  done
  ((whole)) && measured+=("$pair")
done
pairs=("${measured[@]}")

# One line per run in $work/<side>: wall seconds and peak resident kilobytes.
for ((run = 0; run < runs; run++)); do
  for pair in "${pairs[@]}"; do
    for name in $pair; do
      $limit /usr/bin/time -f "%e %M" -a -o "$work/$name" ${side[$name]} >/dev/null 2>&1 || true
    done
  done
done

median() { sort -n -k"$2" "$work/$1" | awk -v c="$2" '{ v[NR] = $c } END { print v[int((NR + 1) / 2)] }'; }
echo "==== client pipelines, $frames frames of 1920x1080, median of $runs runs; load before: $(cut -d' ' -f1-3 /proc/loadavg) ===="
printf '%-14s %9s %9s %12s\n' side seconds fps "peak RSS MB"
for pair in "${pairs[@]}"; do
  for name in $pair; do
    awk -v n="$name" -v s="$(median "$name" 1)" -v m="$(median "$name" 2)" -v f=$frames \
      'BEGIN { printf "%-14s %9.2f %9.1f %12.1f\n", n, s, f / s, m / 1024 }'
  done
done
for pair in "${pairs[@]}"; do
  read -r ours theirs <<<"$pair"
  awk -v a="$ours" -v b="$theirs" -v sa="$(median "$ours" 1)" -v sb="$(median "$theirs" 1)" \
    -v ma="$(median "$ours" 2)" -v mb="$(median "$theirs" 2)" \
    'BEGIN { printf "ratio %s / %s: %.2f x the fps, %.2f x the peak RSS\n", a, b, sb / sa, ma / mb }'
done
