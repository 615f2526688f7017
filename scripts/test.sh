#!/usr/bin/env bash
# Builds every preset that CI checks and runs all tests in each: g++ debug, clang, ASan+UBSan, TSan, and
# the LP64 ABI build (ASan+UBSan) whose tests include GStreamer and FFmpeg running against the core.
# Pass preset names to run only those (e.g. scripts/test.sh debug).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
presets=("$@")
if ((${#presets[@]} == 0)); then presets=(debug clang asan tsan lp64); fi

for preset in "${presets[@]}"; do
  echo "==== preset ${preset} ===="
  cmake --preset "${preset}"
  cmake --build --preset "${preset}"
  # A relative JUnit path lands in the preset's build folder: build/<preset>/junit.xml.
  ctest --preset "${preset}" --output-junit junit.xml
done

# With no preset named, also: clang-tidy and clang-format over the tree (scripts/lint.sh), the
# fault-injection build's tests, its resource-failure run (every product test once per allocation
# point; a crash, hang or leak at any point fails it), and every fuzzer for a few seconds.
if (($# == 0)); then
  echo "==== lint ===="
  lint_failed=0
  scripts/lint.sh || lint_failed=1
  echo "==== preset faults ===="
  cmake --preset faults
  cmake --build --preset faults
  ctest --preset faults --output-junit junit.xml
  scripts/resfail.sh build/faults/test/zvx_unit_omx/zvx_unit_omx
  echo "==== preset fuzz ===="
  cmake --preset fuzz
  cmake --build --preset fuzz
  ctest --preset fuzz --output-junit junit.xml
  # A lint finding fails the run, but only after every test has had its say.
  if ((lint_failed)); then echo "==== lint FAILED: see its findings above ====" >&2; exit 1; fi
fi
