# SPDX-License-Identifier: Apache-2.0
# Warnings are errors in every target of ours.
add_library(project_warnings INTERFACE)
target_compile_options(
  project_warnings
  INTERFACE -Wall
            -Wextra
            -Wshadow
            -Wcast-qual
            -Wformat=2
            -Wimplicit-fallthrough
            -Wswitch-enum
            -Werror
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
            $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
            $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(project_warnings INTERFACE -Wthread-safety)
else()
  # A unique symbol would keep the plugin mapped after dlclose.
  target_compile_options(project_warnings INTERFACE -fno-gnu-unique)
endif()
