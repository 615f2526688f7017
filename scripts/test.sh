#!/usr/bin/env bash
# Builds every preset that CI checks and runs all tests in each: g++ debug, clang, ASan+UBSan, TSan.
# Pass preset names to run only those (e.g. scripts/test.sh debug).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
presets=("$@")
if ((${#presets[@]} == 0)); then presets=(debug clang asan tsan); fi

for preset in "${presets[@]}"; do
  echo "==== preset ${preset} ===="
  cmake --preset "${preset}"
  cmake --build --preset "${preset}"
  # A relative JUnit path lands in the preset's build folder: build/<preset>/junit.xml.
  ctest --preset "${preset}" --output-junit junit.xml
done
