# SPDX-License-Identifier: Apache-2.0
# How a fuzz target is made; of use in the fuzz preset only, whose compiler brings libFuzzer.
add_custom_target(fuzzers)

# iosched_add_fuzzer(NAME name SOURCES file... LIBS target... RUNS number)
#
# Makes the program fuzz_<name> and adds it to the target `fuzzers`. The ctest test fuzz.<name>, whose label is fuzz,
# runs the inputs in corpus/<name>/ beside the calling CMakeLists.txt, and then makes up new ones, always the same,
# until there have been RUNS in all. It knows the words of dictionaries/<name>.dict, where that file exists. Nothing is
# added to the corpus; an input that breaks a property stays in the build folder, as <name>-crash-<hash>.
function(iosched_add_fuzzer)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "NAME;RUNS" "SOURCES;LIBS")
  if(ARG_UNPARSED_ARGUMENTS OR NOT ARG_NAME OR NOT ARG_SOURCES OR NOT ARG_RUNS)
    message(FATAL_ERROR "iosched_add_fuzzer needs NAME, SOURCES and RUNS; not understood: '${ARG_UNPARSED_ARGUMENTS}'")
  endif()
  set(corpus ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${ARG_NAME})
  file(GLOB inputs CONFIGURE_DEPENDS ${corpus}/*)
  if(NOT inputs)
    message(FATAL_ERROR "The fuzz target ${ARG_NAME} has no inputs in ${corpus}")
  endif()
  list(LENGTH inputs count)
  if(ARG_RUNS LESS_EQUAL count)
    message(FATAL_ERROR "The fuzz target ${ARG_NAME} would not get through its ${count} inputs in ${ARG_RUNS} runs")
  endif()
  list(JOIN inputs "," seeds)
  set(options -seed=1 -runs=${ARG_RUNS} -seed_inputs=${seeds} -artifact_prefix=${CMAKE_CURRENT_BINARY_DIR}/${ARG_NAME}-)
  set(dictionary ${CMAKE_CURRENT_SOURCE_DIR}/dictionaries/${ARG_NAME}.dict)
  if(EXISTS ${dictionary})
    list(APPEND options -dict=${dictionary})
  endif()

  set(program fuzz_${ARG_NAME})
  add_executable(${program} ${ARG_SOURCES})
  target_link_libraries(${program} PRIVATE ${ARG_LIBS})
  target_link_options(${program} PRIVATE -fsanitize=fuzzer,address,undefined)
  add_dependencies(fuzzers ${program})
  add_test(NAME fuzz.${ARG_NAME} COMMAND ${program} ${options})
  set_tests_properties(fuzz.${ARG_NAME} PROPERTIES LABELS fuzz)
endfunction()
