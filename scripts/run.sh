#!/usr/bin/env bash
# Builds the release program and runs it; arguments are passed to zvx_unit_omx.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target zvx_unit_omx
exec build/release/test/zvx_unit_omx/zvx_unit_omx "$@"
