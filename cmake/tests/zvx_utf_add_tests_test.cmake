# Registers the tests of zvx_utf_fake_program.sh in a CTest directory of their own and checks that CTest
# names, labels and runs each as listed, and that the failing one turns red.
# Run as: cmake -D CTEST_COMMAND=<ctest> -D WORK_DIR=<scratch directory> -P zvx_utf_add_tests_test.cmake
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/../zvx_utf_add_tests.cmake)

file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
zvx_utf_add_tests("${CMAKE_CURRENT_LIST_DIR}/zvx_utf_fake_program.sh" "${WORK_DIR}/tests.cmake" 30)
file(WRITE "${WORK_DIR}/CTestTestfile.cmake" "include(\"${WORK_DIR}/tests.cmake\")\n")

# Runs ctest in WORK_DIR with <ARGN> and fails unless it exits with <status> and prints <text>.
function(expect_ctest status text)
  execute_process(COMMAND "${CTEST_COMMAND}" --test-dir "${WORK_DIR}" ${ARGN}
                  OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
  string(FIND "${output}" "${text}" at)
  if(NOT result EQUAL status OR at EQUAL -1)
    string(REPLACE ";" " " arguments "${ARGN}")
    message(FATAL_ERROR "ctest ${arguments}: expected status ${status} and\n${text}\ngot ${result}:\n${output}")
  endif()
endfunction()

expect_ctest(0 [[
  Test #1: Odd; suite & (1)/a/b - c (d)
  Test #2: Odd; suite & (1)/Fails
  Test #3: Other [suite]=]/x$y\z [ .*

Total Tests: 3]] -N)
expect_ctest(0 "Total Tests: 2" -N -L [[^Odd. suite & \(1\)$]])
expect_ctest(0 "Total Tests: 1" -N -L [[^Other \[suite\]=\]$]])
expect_ctest(8 [[
67% tests passed, 1 tests failed out of 3]])
expect_ctest(8 [[
	  2 - Odd; suite & (1)/Fails (Failed)]])
