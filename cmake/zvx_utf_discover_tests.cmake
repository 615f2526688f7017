# zvx_utf_discover_tests(<target> TIMEOUT <seconds>): one CTest test per test that the zvx_utf program
# <target> lists with --list-tests, named "<suite>/<test>" and labelled with its suite. The list is
# taken when CTest starts, and again whenever the program was rebuilt, so tests added to the program
# appear in CTest without a CMake change.
set(ZVX_UTF_ADD_TESTS_SCRIPT "${CMAKE_CURRENT_LIST_DIR}/zvx_utf_add_tests.cmake")

function(zvx_utf_discover_tests target)
  if(NOT ZVX_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "TIMEOUT" "" ${ARGN})
  set(tests_file "${CMAKE_CURRENT_BINARY_DIR}/${target}_utf_tests.cmake")
  set(include_file "${CMAKE_CURRENT_BINARY_DIR}/${target}_utf_include.cmake")
  set(program "$<TARGET_FILE:${target}>")
  file(GENERATE OUTPUT "${include_file}" CONTENT
"if(EXISTS [==[${program}]==])
  if(NOT EXISTS [==[${tests_file}]==] OR
     NOT [==[${tests_file}]==] IS_NEWER_THAN [==[${program}]==] OR
     NOT [==[${tests_file}]==] IS_NEWER_THAN [==[${ZVX_UTF_ADD_TESTS_SCRIPT}]==] OR
     NOT [==[${tests_file}]==] IS_NEWER_THAN \"\${CMAKE_CURRENT_LIST_FILE}\")
    include([==[${ZVX_UTF_ADD_TESTS_SCRIPT}]==])
    zvx_utf_add_tests([==[${program}]==] [==[${tests_file}]==] [==[${ARG_TIMEOUT}]==])
  endif()
  include([==[${tests_file}]==])
else()
  add_test(${target}_NOT_BUILT ${target}_NOT_BUILT)
endif()
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${include_file}")
  set_property(TARGET ${target} PROPERTY ZVX_UTF_CTEST_INCLUDE_FILE "${include_file}")
endfunction()
