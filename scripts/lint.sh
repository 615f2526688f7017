#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) over the project's own translation units in the clang preset's compile
# database, and clang-format (.clang-format) in check mode over every tracked .cpp and .h file.
# Exits non-zero on any finding of either.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

# Configuring is enough: the compile database is written at configure time.
cmake --preset clang >/dev/null
database=build/clang/compile_commands.json
[[ -f "$database" ]] || { echo "lint: $database was not written" >&2; exit 2; }

status=0
log=build/clang/clang-tidy.log
# Sources under the checkout, less build/ (where anything generated would be).
root_re=$(printf '%s' "$root" | sed 's/[][\.*^$()+?{}|]/\\&/g')
echo "lint: clang-tidy"
if ! run-clang-tidy -j 2 -quiet -p build/clang "^${root_re}/(?!build/)" >"$log" 2>&1; then
  status=1
fi
# run-clang-tidy prints each command line and colours the findings: keep only the findings.
sed -E 's/\x1b\[[0-9;]*m//g' "$log" | grep -Ev '^clang-tidy(-[0-9]+)? |^[0-9]+ warnings? (generated|treated as errors)\.$' || true
# A clean run matches nothing, which grep reports as a failure.
findings=$(sed -E 's/\x1b\[[0-9;]*m//g' "$log" | { grep -E '^/.*: (warning|error): .*\]$' || true; } | sort -u | wc -l)
echo "lint: clang-tidy: ${findings} finding(s)"
((findings == 0)) || status=1

echo "lint: clang-format"
if ! git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror; then
  status=1
fi

if ((status != 0)); then
  echo "lint: FAILED" >&2
else
  echo "lint: clean"
fi
exit "$status"
