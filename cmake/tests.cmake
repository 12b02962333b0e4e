# SPDX-License-Identifier: Apache-2.0
# How a test program is made.
include(GoogleTest)

# iosched_add_test(NAME area SOURCES file... LIBS target... [DEFINITIONS definition...] [ALONE pattern])
#
# Makes the program test_<area> from the sources, with the main of test_support (which answers --gtest_list_tests
# before it enters the sandbox, so that listing the cases touches nothing). Every case becomes a ctest test
# <area>.<Suite>.<Case> with the label <area>, and runs in a process of its own, from the root of the sources. The cases
# are listed when ctest starts, not by the build; a program that was not built is a test that fails.
#
# The cases that match the pattern change settings of the machine's disks: of these, of whichever program, one runs at a
# time.
#
# A case that calls GTEST_SKIP() is reported by ctest as skipped: gtest_discover_tests sets the expression for that. The
# values of parameterised tests stay out of the names, which then do not change with the way that a value prints: name
# the rows with the last argument of INSTANTIATE_TEST_SUITE_P.
function(iosched_add_test)
  cmake_parse_arguments(PARSE_ARGV 0 ARG "" "NAME;ALONE" "SOURCES;LIBS;DEFINITIONS")
  if(ARG_UNPARSED_ARGUMENTS OR NOT ARG_NAME OR NOT ARG_SOURCES)
    message(FATAL_ERROR "iosched_add_test needs NAME and SOURCES; not understood: '${ARG_UNPARSED_ARGUMENTS}'")
  endif()

  set(program test_${ARG_NAME})
  add_executable(${program} ${ARG_SOURCES})
  target_compile_definitions(${program} PRIVATE ${ARG_DEFINITIONS})
  target_link_libraries(${program} PRIVATE test_support GTest::gtest ${ARG_LIBS})
  # The code under test is built as the preset says; to optimise the tests themselves costs more time than it saves.
  target_compile_options(${program} PRIVATE -O0)
  set(discovery
      DISCOVERY_MODE PRE_TEST
      DISCOVERY_TIMEOUT 120
      NO_PRETTY_VALUES
      TEST_PREFIX ${ARG_NAME}.
      WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  if(ARG_ALONE)
    gtest_discover_tests(${program} ${discovery} TEST_FILTER -${ARG_ALONE} PROPERTIES LABELS ${ARG_NAME})
    gtest_discover_tests(${program} ${discovery} TEST_FILTER ${ARG_ALONE} PROPERTIES LABELS ${ARG_NAME} RESOURCE_LOCK
                                                                                    disk)
  else()
    gtest_discover_tests(${program} ${discovery} PROPERTIES LABELS ${ARG_NAME})
  endif()
endfunction()
