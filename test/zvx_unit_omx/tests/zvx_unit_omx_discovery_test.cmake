# The CTest tests discovered for zvx_unit_omx run exactly the command lines that zvx_unit_omx
# --list-tests prints, in its order. Names and labels are checked against a fake program in
# cmake/tests.
# Run as: cmake -D PROGRAM=<zvx_unit_omx> -D DISCOVERY=<its CTest include file> -D CTEST_COMMAND=<ctest>
#               -D WORK_DIR=<scratch directory> -P zvx_unit_omx_discovery_test.cmake
# CTest reads the discovery from a directory of its own: a second ctest in the build folder would
# overwrite the running one's log.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
file(WRITE "${WORK_DIR}/CTestTestfile.cmake" "include(\"${DISCOVERY}\")\n")
execute_process(COMMAND "${PROGRAM}" --list-tests OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${CTEST_COMMAND}" --test-dir "${WORK_DIR}" --show-only=json-v1
                OUTPUT_VARIABLE json COMMAND_ERROR_IS_FATAL ANY)

# The listing's test lines, written back from the commands CTest runs.
set(listed "")
string(JSON count LENGTH "${json}" tests)
math(EXPR last "${count} - 1")
foreach(i RANGE ${last})
  string(JSON program GET "${json}" tests ${i} command 0)
  string(JSON suite_arg GET "${json}" tests ${i} command 1)
  string(JSON test_arg GET "${json}" tests ${i} command 2)
  string(JSON id_arg GET "${json}" tests ${i} command 3)
  string(REGEX REPLACE "^--suite=(.*)$" "--suite=\"\\1\"" suite_arg "${suite_arg}")
  string(REGEX REPLACE "^--test=(.*)$" "--test=\"\\1\"" test_arg "${test_arg}")
  string(APPEND listed "${program} ${suite_arg} ${test_arg} ${id_arg}\n")
endforeach()

string(FIND "${listing}" "${listed}" at)
string(SUBSTRING "${listing}" 0 ${at} banner)
if(at EQUAL -1 OR NOT "${banner}${listed}" STREQUAL listing OR banner MATCHES "--testid=")
  message(FATAL_ERROR "CTest runs\n${listed}\nbut ${PROGRAM} --list-tests printed\n${listing}")
endif()
