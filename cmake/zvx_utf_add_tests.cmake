# Run by CTest: lists the tests of a zvx_utf program and writes the file that registers each with CTest.
# Test and suite names may hold anything but a double quote and a line break, so every name is written
# as a bracket argument and nothing here splits text as a CMake list.
cmake_minimum_required(VERSION 3.25)

# <out> = <value> as a bracket argument that no "]=...=]" inside <value> can close early.
function(zvxp_utf_bracket out value)
  set(level "")
  string(FIND "${value}]" "]${level}]" closing)
  while(NOT closing EQUAL -1)
    string(APPEND level "=")
    string(FIND "${value}]" "]${level}]" closing)
  endwhile()
  set(${out} "[${level}[${value}]${level}]" PARENT_SCOPE)
endfunction()

# Each listed line is the command line that runs one test:
#   <program> --suite="<suite>" --test="<test>" --testid=<id>
function(zvx_utf_add_tests program tests_file timeout)
  execute_process(COMMAND "${program}" --list-tests
                  OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE status TIMEOUT 60)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${program} --list-tests failed (${status}):\n${listing}${errors}")
  endif()

  zvxp_utf_bracket(program_arg "${program}")
  set(registrations "")
  set(unread "${listing}\n")
  while(NOT unread STREQUAL "")
    string(FIND "${unread}" "\n" line_end)
    string(SUBSTRING "${unread}" 0 ${line_end} line)
    math(EXPR line_end "${line_end} + 1")
    string(SUBSTRING "${unread}" ${line_end} -1 unread)
    if(NOT line MATCHES "^.* --suite=\"(.*)\" --test=\"(.*)\" --testid=([0-9]+)$")
      continue()
    endif()
    set(suite "${CMAKE_MATCH_1}")
    set(test "${CMAKE_MATCH_2}")
    set(id "${CMAKE_MATCH_3}")
    # LABELS is a list: an unescaped ";" would split the suite into two labels.
    string(REPLACE ";" "\\;" label "${suite}")
    zvxp_utf_bracket(name "${suite}/${test}")
    zvxp_utf_bracket(label "${label}")
    zvxp_utf_bracket(suite_arg "--suite=${suite}")
    zvxp_utf_bracket(test_arg "--test=${test}")
    string(APPEND registrations
      "add_test(${name} ${program_arg} ${suite_arg} ${test_arg} --testid=${id})\n"
      "set_tests_properties(${name} PROPERTIES LABELS ${label} TIMEOUT ${timeout})\n")
  endwhile()

  if(registrations STREQUAL "")
    message(FATAL_ERROR "${program} --list-tests listed no tests:\n${listing}")
  endif()
  file(WRITE "${tests_file}" "${registrations}")
endfunction()
