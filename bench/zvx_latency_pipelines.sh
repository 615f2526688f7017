#!/usr/bin/env bash
# Latency and scale through the OpenMAX core (optimised LP64 build, the device's libavcodec engine)
# beside GStreamer's and FFmpeg's own software decoders, each pair in the same run:
#   start/seek  bench/gst/zvx_gst_start_seek: omxh264dec and avdec_h264 playing 10 s of 720p H.264 (MP4,
#               a key frame a second) in real time: from PLAYING to the first picture at the sink (the
#               process's first pipeline, which loads the libraries, apart; it is also timed from building
#               the pipeline, where GStreamer's own plugins load theirs), and from a flushing key-unit
#               seek to the first picture after it; each process makes SEEK_RUNS pipelines, 4 seeks each;
#   small       176x144 H.264, 3000 frames: zvx_omx_run --input against ffmpeg -f null, pictures per
#               second over the process's wall time and over the program's own decode time;
#   scale       bench/gst/zvx_gst_scale: 1, 2, 4 and 8 decodes of the 720p stream at once in one process,
#               omxh264dec against avdec_h264: aggregate pictures per second and per-picture latency
#               (decoder input to sink, matched by timestamp).
# Medians over RUNS runs (default 5; scale takes 3), alternating within a pair, and a ratio line per pair.
# Streams are made here with FFmpeg's libx264. A peer whose package is missing is left out, and the
# script says so. Usage: bench/zvx_latency_pipelines.sh [RUNS] [SECTION...] (start-seek, small, scale).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/zvx_gstomx.sh

runs=${1:-5}
shift || true
sections=("${@:-start-seek small scale}")
sections=(${sections[*]})
scale_runs=$(((runs + 1) / 2 > 3 ? 3 : (runs + 1) / 2))
seek_runs=5
counts=(1 2 4 8)

cmake --preset lp64-release >/dev/null
nice cmake --build build/lp64-release --target zvx_omxcore zvx_omx_run >/dev/null
build="$PWD/build/lp64-release"
core="$build/omx_core/libzvx_omxcore.so"
has_programs=0
if nice cmake --build build/lp64-release --target zvx_gst_start_seek zvx_gst_scale >/dev/null 2>&1; then
  has_programs=1
else
  echo "latency: GStreamer's development files (libgstreamer1.0-dev, scripts/setup.sh bench) are not installed: no start/seek or scale pairs"
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/zvx_latency_XXXXXX")
trap 'rm -rf "$work"' EXIT
has_gst=0 has_avdec=0
command -v gst-launch-1.0 >/dev/null && gst-inspect-1.0 h264parse >/dev/null 2>&1 &&
  gst-inspect-1.0 qtdemux >/dev/null 2>&1 && has_gst=1
((has_gst)) && gst-inspect-1.0 avdec_h264 >/dev/null 2>&1 && has_avdec=1
if ! command -v ffmpeg >/dev/null || [[ $(ffmpeg -hide_banner -encoders 2>/dev/null) != *" libx264 "* ]]; then
  echo "latency: ffmpeg with libx264 is needed to make the streams (scripts/setup.sh installs it)" >&2
  exit 1
fi
((has_gst)) || echo "latency: GStreamer (gstreamer1.0-tools, -plugins-good, -plugins-bad, -omx-generic) is not installed: no GStreamer pairs"
((has_avdec)) || echo "latency: gst-libav (gstreamer1.0-libav) is not installed: no avdec_h264 peer"
gst_pairs=$((has_gst && has_avdec && has_programs))

stream="$work/720p.mp4"
ffmpeg -nostdin -v error -f lavfi -i "testsrc2=size=1280x720:rate=30" -frames:v 300 -c:v libx264 -preset veryfast \
  -g 30 -keyint_min 30 -sc_threshold 0 -b:v 4M -movflags +faststart "$stream"
small="$work/qcif.h264"
small_frames=3000
ffmpeg -nostdin -v error -f lavfi -i "testsrc2=size=176x144:rate=30" -frames:v $small_frames -c:v libx264 \
  -preset veryfast "$small"

zvx_point_gstreamer_at_core "$work" "$core"
((has_gst)) && gst-inspect-1.0 omxh264dec >/dev/null

limit="timeout -k 10 300"
median() { sort -g | awk '{ v[NR] = $1 } END { if (NR) print v[int((NR + 1) / 2)]; else print "nan" }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (b + 0 == 0) print "nan"; else printf "%.2f", a / b }'; }
load() { cut -d' ' -f1-3 /proc/loadavg; }

start_seek() {
  local decoder
  for ((run = 0; run < runs; run++)); do
    for decoder in omxh264dec avdec_h264; do
      $limit "$build/bench/zvx_gst_start_seek" --file="$stream" --decoder=$decoder --runs=$seek_runs \
        >>"$work/start-seek.$decoder" || echo "latency: a start/seek run of $decoder failed" >&2
    done
  done
  echo "==== start and seek, 1280x720 H.264 in real time, $runs processes x $seek_runs pipelines x 4 seeks; load before: $1 ===="
  printf '%-11s %15s %16s %15s %13s %18s\n' decoder "first start ms" "start ms (warm)" "seek ms median" "seek ms p90" \
    "first from launch"
  declare -A figure
  for decoder in omxh264dec avdec_h264; do
    local lines="$work/start-seek.$decoder"
    figure[$decoder.first]=$(awk '$2 == "run" && $3 == "1:" { print $5 }' "$lines" | median)
    figure[$decoder.launch]=$(awk '$2 == "run" && $3 == "1:" { print $(NF - 1) }' "$lines" | median)
    figure[$decoder.start]=$(awk '$2 == "run" && $3 != "1:" { print $5 }' "$lines" | median)
    figure[$decoder.seek]=$(awk '$2 == "run" { for (i = 8; i <= NF && $i != "ms;"; ++i) print $i }' "$lines" | median)
    figure[$decoder.p90]=$(awk '$2 == "run" { for (i = 8; i <= NF && $i != "ms;"; ++i) print $i }' "$lines" | sort -g |
      awk '{ v[NR] = $1 } END { print v[int(0.9 * (NR - 1)) + 1] }')
    printf '%-11s %15s %16s %15s %13s %18s\n' $decoder "${figure[$decoder.first]}" "${figure[$decoder.start]}" \
      "${figure[$decoder.seek]}" "${figure[$decoder.p90]}" "${figure[$decoder.launch]}"
  done
  echo "ratio omxh264dec / avdec_h264: $(ratio "${figure[omxh264dec.first]}" "${figure[avdec_h264.first]}") x the first start," \
    "$(ratio "${figure[omxh264dec.start]}" "${figure[avdec_h264.start]}") x the warm start," \
    "$(ratio "${figure[omxh264dec.seek]}" "${figure[avdec_h264.seek]}") x the seek time," \
    "$(ratio "${figure[omxh264dec.launch]}" "${figure[avdec_h264.launch]}") x the first start from building the pipeline"
}

small() {
  local delivered side start
  delivered=$($limit "$build/omx_run/zvx_omx_run" --no-progress --input="$small" |
    sed -n 's/^frames: *[0-9]* sent, \([0-9]*\) out$/\1/p')
  if [[ $delivered != "$small_frames" ]]; then
    echo "latency: zvx_omx_run delivered ${delivered:-no} of $small_frames small pictures; no small-picture pair"
    return
  fi
  for ((run = 0; run < runs; run++)); do
    for side in zvx_omx_run ffmpeg; do
      start=${EPOCHREALTIME/./}
      if [[ $side == zvx_omx_run ]]; then
        own=$($limit "$build/omx_run/zvx_omx_run" --no-progress --input="$small" | sed -n 's/^time: *\([0-9.]*\) ms.*/\1/p')
      else
        own=$($limit ffmpeg -nostdin -v info -benchmark -i "$small" -f null - 2>&1 |
          sed -n 's/^bench: .*rtime=\([0-9.]*\)s.*/\1/p' | awk '{ print $1 * 1000 }')
      fi
      echo "$(((${EPOCHREALTIME/./} - start))) $own" >>"$work/small.$side"
    done
  done
  local frames_seen
  frames_seen=$(ffmpeg -nostdin -v error -i "$small" -map 0:v -f null -stats - 2>&1 | tr '\r' '\n' |
    sed -n 's/^frame= *\([0-9]*\).*/\1/p' | tail -1)
  [[ $frames_seen == "$small_frames" ]] || echo "latency: ffmpeg decoded ${frames_seen:-no} of $small_frames small pictures"
  echo "==== small pictures, 176x144 H.264, $small_frames frames, median of $runs runs; load before: $1 ===="
  printf '%-12s %12s %10s %14s %10s\n' side "wall ms" "wall fps" "decode ms" "decode fps"
  declare -A wall own_ms
  for side in zvx_omx_run ffmpeg; do
    wall[$side]=$(awk '{ print $1 / 1000 }' "$work/small.$side" | median)
    own_ms[$side]=$(awk '{ print $2 }' "$work/small.$side" | median)
    awk -v s=$side -v w="${wall[$side]}" -v d="${own_ms[$side]}" -v n=$small_frames \
      'BEGIN { printf "%-12s %12.1f %10.0f %14.1f %10.0f\n", s, w, n * 1000 / w, d, n * 1000 / d }'
  done
  echo "ratio zvx_omx_run / ffmpeg: $(ratio "${wall[ffmpeg]}" "${wall[zvx_omx_run]}") x the fps over wall time," \
    "$(ratio "${own_ms[ffmpeg]}" "${own_ms[zvx_omx_run]}") x over the programs' own decode time"
}

scale() {
  local count decoder
  for count in "${counts[@]}"; do
    for ((run = 0; run < scale_runs; run++)); do
      for decoder in omxh264dec avdec_h264; do
        $limit "$build/bench/zvx_gst_scale" --file="$stream" --decoder=$decoder --count="$count" \
          >>"$work/scale.$decoder.$count" || echo "latency: a scale run of $count x $decoder failed" >&2
      done
    done
  done
  echo "==== scale, N decodes of 1280x720 H.264 (300 frames each) in one process, median of $scale_runs runs; load before: $1 ===="
  printf '%-11s %5s %10s %18s %15s %9s\n' decoder count "total fps" "latency median ms" "latency p99 ms" "frames"
  declare -A figure
  field() { sed -n "s/.* $2=\([^ ]*\).*/\1/p" "$1" | median; }
  for count in "${counts[@]}"; do
    for decoder in omxh264dec avdec_h264; do
      local lines="$work/scale.$decoder.$count"
      figure[$decoder.$count.fps]=$(field "$lines" fps)
      figure[$decoder.$count.lat]=$(field "$lines" latency_median_ms)
      printf '%-11s %5s %10s %18s %15s %9s\n' $decoder "$count" "${figure[$decoder.$count.fps]}" \
        "${figure[$decoder.$count.lat]}" "$(field "$lines" latency_p99_ms)" "$(field "$lines" fewest)x$count"
    done
  done
  for count in "${counts[@]}"; do
    echo "ratio omxh264dec / avdec_h264 at $count: $(ratio "${figure[omxh264dec.$count.fps]}" "${figure[avdec_h264.$count.fps]}") x the fps," \
      "$(ratio "${figure[omxh264dec.$count.lat]}" "${figure[avdec_h264.$count.lat]}") x the per-picture latency"
  done
}

for section in "${sections[@]}"; do
  case $section in
    start-seek) ((gst_pairs)) && start_seek "$(load)" ;;
    small) small "$(load)" ;;
    scale) ((gst_pairs)) && scale "$(load)" ;;
    *) echo "latency: unknown section '$section' (start-seek, small, scale)" >&2; exit 2 ;;
  esac
done
