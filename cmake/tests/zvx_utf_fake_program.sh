#!/usr/bin/env bash
# Stands in for a zvx_utf program whose names CTest, CMake lists and regular expressions treat
# specially. A test passes only when it is called with exactly the arguments it was listed with,
# except "Fails", which always fails.
suites=('Odd; suite & (1)' 'Odd; suite & (1)' 'Other [suite]=]')
tests=('a/b - c (d)' 'Fails' 'x$y\z [ .*')
if [[ $1 == --list-tests ]]; then
  printf '====\n  Banner\n====\n\n'
  for i in "${!tests[@]}"; do
    printf '%s --suite="%s" --test="%s" --testid=%d\n' "$0" "${suites[i]}" "${tests[i]}" $((i + 1))
  done
  exit 0
fi
i=$((${3#--testid=} - 1))
[[ $# == 3 && $1 == "--suite=${suites[i]}" && $2 == "--test=${tests[i]}" && ${tests[i]} != Fails ]]
