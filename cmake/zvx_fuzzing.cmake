# libFuzzer targets, built by the fuzz preset (clang, every source instrumented for coverage with
# ASan and UBSan). Each fuzzer is also a CTest test, labelled "fuzz", that runs for
# ZVX_FUZZ_SECONDS from its seed corpus; fuzzers.txt in the build directory lists every fuzzer
# (name, program, seed corpus) for scripts/fuzz.sh. A program that searches by seeds of its own instead
# of libFuzzer's inputs is listed with "@timed" for its corpus: fuzz.sh gives it --seconds and
# --sequences in place of libFuzzer's options.
set(ZVX_FUZZ_SECONDS 10 CACHE STRING "Budget of each fuzzer's CTest run, in seconds")

if(ZVX_BUILD_FUZZERS)
  enable_testing()
  add_custom_target(zvx_fuzzers)
  set(ZVX_FUZZER_LIST "${CMAKE_BINARY_DIR}/fuzzers.txt")
  file(WRITE "${ZVX_FUZZER_LIST}" "")
endif()

# zvx_add_fuzzer(<name> SOURCES ... LIBS ... CORPUS <seed dir>)
function(zvx_add_fuzzer name)
  if(NOT ZVX_BUILD_FUZZERS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "CORPUS" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  add_dependencies(zvx_fuzzers ${name})
  # New inputs go to a corpus in the build tree; the seeds in the source tree are only read.
  set(work_corpus "${CMAKE_CURRENT_BINARY_DIR}/${name}_corpus")
  file(MAKE_DIRECTORY "${work_corpus}")
  add_test(NAME ${name} COMMAND ${name} -max_total_time=${ZVX_FUZZ_SECONDS} -print_final_stats=1 "${work_corpus}"
                                "${ARG_CORPUS}")
  set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT 600)
  file(APPEND "${ZVX_FUZZER_LIST}" "${name} ${CMAKE_CURRENT_BINARY_DIR}/${name} ${ARG_CORPUS}\n")
endfunction()

# zvx_add_timed_fuzzer(<name> TARGET <program target>): a program that runs for --seconds=S or
# --sequences=N and exits non-zero on a finding, listed for scripts/fuzz.sh beside the libFuzzer targets.
function(zvx_add_timed_fuzzer name)
  if(NOT ZVX_BUILD_FUZZERS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "TARGET" "" ${ARGN})
  add_dependencies(zvx_fuzzers ${ARG_TARGET})
  add_test(NAME ${name} COMMAND ${ARG_TARGET} --seconds=${ZVX_FUZZ_SECONDS})
  set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT 600)
  # The list is written at configure time, before generator expressions mean anything: the program's
  # path is put together as CMake will lay it out, in the folder that defines it.
  get_target_property(program ${ARG_TARGET} OUTPUT_NAME)
  if(NOT program)
    set(program ${ARG_TARGET})
  endif()
  file(APPEND "${ZVX_FUZZER_LIST}" "${name} ${CMAKE_CURRENT_BINARY_DIR}/${program} @timed\n")
endfunction()
