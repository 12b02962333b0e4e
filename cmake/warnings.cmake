# Warnings are errors in every target of ours.
add_library(project_warnings INTERFACE)
target_compile_options(
  project_warnings
  INTERFACE -Wall
            -Wextra
            -Wshadow
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wold-style-cast
            -Wcast-qual
            -Wformat=2
            -Wimplicit-fallthrough
            -Wswitch-enum
            -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(project_warnings INTERFACE -Wthread-safety)
else()
  # A unique symbol would keep the plugin mapped after dlclose.
  target_compile_options(project_warnings INTERFACE -fno-gnu-unique)
endif()
