# What every target of this project is compiled with.

option(SF_WARNINGS_AS_ERRORS "Fail the build on any warning" OFF)
set(SF_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them; empty for none")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# No contraction: a fused multiply-add rounds once where the source says twice, and results would then depend on
# the machine that the compiler was asked to build for. Installed headers hold inline arithmetic, so that hosts are
# handed the same option.
set(SF_FLOATING_POINT_OPTIONS -ffp-contract=off)
add_compile_options(${SF_FLOATING_POINT_OPTIONS})

# The standard library's own checks, as for an index past the end of a vector, where speed does not count.
add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
if(SF_SANITIZE)
  add_compile_options(-fsanitize=${SF_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_compile_definitions(_GLIBCXX_ASSERTIONS SF_INSTRUMENTED)
  add_link_options(-fsanitize=${SF_SANITIZE})
endif()

# The counters that steer libFuzzer, in the code that it is to explore.
add_library(SF_fuzz_counters INTERFACE)
if(SF_BUILD_FUZZERS)
  target_compile_options(SF_fuzz_counters INTERFACE -fsanitize=fuzzer-no-link)
endif()

add_library(SF_warnings INTERFACE)
target_compile_options(SF_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wswitch -Wnon-virtual-dtor
  $<$<BOOL:${SF_WARNINGS_AS_ERRORS}>:-Werror>)

# Programs whose time goes into the library. Instrumented code takes long to optimise: most of a sanitizer build would
# go into them.
add_library(SF_program_options INTERFACE)
target_link_libraries(SF_program_options INTERFACE SF_warnings)
if(SF_SANITIZE)
  target_compile_options(SF_program_options INTERFACE -O0)
endif()

# Test programs. Their own code runs once: to optimise it fully takes longer than it saves.
add_library(SF_test_options INTERFACE)
target_link_libraries(SF_test_options INTERFACE SF_program_options)
target_compile_options(SF_test_options INTERFACE $<$<CONFIG:Release>:-O1>)

# The standard headers that most sources include, read once for a target, after the further ones that are named.
# Optimised builds of the library and of sfdag do without: there each file must include what it uses.
function(sf_precompile_headers target)
  target_precompile_headers(${target} PRIVATE ${ARGN} <algorithm> <array> <cmath> <functional> <iostream> <limits>
    <memory> <sstream> <string> <string_view> <utility> <vector>)
endfunction()
