#!/usr/bin/env bash
# Builds the release preset and runs every Google Benchmark program once; arguments go to each.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh bench
cmake --preset release >/dev/null
cmake --build --preset release
echo "load before the benchmarks: $(cut -d' ' -f1-3 /proc/loadavg)"
for bench in utf/quro_utf_bench util/zvx_util_bench log/zvx_log_bench omx_components/zvx_omx_cproc_bench \
  omx_components/zvx_omx_round_trip_bench \
  omx_components/zvx_omx_parameter_bench omx_components/zvx_omx_buffer_call_bench; do
  echo "==== ${bench##*/} ===="
  "build/release/${bench}" "$@"
done
flows=$(mktemp -d "${TMPDIR:-/tmp}/zvx_flows_XXXXXX")
trap 'rm -rf "$flows"' EXIT
echo "==== zvx_omx_flow_bench, unpinned; load before: $(cut -d' ' -f1-3 /proc/loadavg) ===="
build/release/bench/zvx_omx_flow_bench --benchmark_out="$flows/unpinned.json" --benchmark_out_format=json "$@"
bench/zvx_flow_ratios.py "$flows/unpinned.json" " (unpinned)"
# The round trips and flows again with the client, the command thread and the device sharing one CPU.
echo "==== zvx_omx_round_trip_bench, pinned to CPU 0 ===="
taskset -c 0 build/release/omx_components/zvx_omx_round_trip_bench "$@"
echo "==== zvx_omx_flow_bench, pinned to CPU 0; load before: $(cut -d' ' -f1-3 /proc/loadavg) ===="
taskset -c 0 build/release/bench/zvx_omx_flow_bench --benchmark_out="$flows/pinned.json" --benchmark_out_format=json "$@"
bench/zvx_flow_ratios.py "$flows/pinned.json" " (pinned)"
# The component's and the core's per-frame cost: GStreamer over the pattern device beside avdec_h264.
scripts/measure_clients.sh
# The client pipelines: 1080p decodes and encodes through the core beside FFmpeg's and GStreamer's own.
bench/zvx_client_pipelines.sh
# Start, seek, small-picture and scale latency through the core beside GStreamer's and FFmpeg's own.
bench/zvx_latency_pipelines.sh
