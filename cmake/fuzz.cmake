# How a fuzz target is made; of use in the fuzz preset only, whose compiler brings libFuzzer.
add_custom_target(fuzzers)

# iosched_add_fuzzer(NAME name SOURCES file... LIBS target...)
#
# Makes the program fuzz_<name> and adds it to the target `fuzzers`. The inputs in corpus/<name>/ beside the calling
# CMakeLists.txt are replayed, without making up new ones, by the ctest test fuzz.<name>, whose label is fuzz.
function(iosched_add_fuzzer)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "NAME" "SOURCES;LIBS")
  if(ARG_UNPARSED_ARGUMENTS OR NOT ARG_NAME OR NOT ARG_SOURCES)
    message(FATAL_ERROR "iosched_add_fuzzer needs NAME and SOURCES; not understood: '${ARG_UNPARSED_ARGUMENTS}'")
  endif()
  set(corpus ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${ARG_NAME})
  file(GLOB inputs CONFIGURE_DEPENDS ${corpus}/*)
  if(NOT inputs)
    message(FATAL_ERROR "The fuzz target ${ARG_NAME} has no inputs in ${corpus}")
  endif()

  set(program fuzz_${ARG_NAME})
  add_executable(${program} ${ARG_SOURCES})
  target_link_libraries(${program} PRIVATE ${ARG_LIBS})
  target_link_options(${program} PRIVATE -fsanitize=fuzzer,address,undefined)
  add_dependencies(fuzzers ${program})
  add_test(NAME fuzz.${ARG_NAME} COMMAND ${program} -runs=0 ${corpus})
  set_tests_properties(fuzz.${ARG_NAME} PROPERTIES LABELS fuzz)
endfunction()
