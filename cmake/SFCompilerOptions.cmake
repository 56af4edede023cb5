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
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
  add_link_options(-fsanitize=${SF_SANITIZE})
endif()
if(SF_BUILD_FUZZERS) # the counters that steer libFuzzer
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

add_library(SF_warnings INTERFACE)
target_compile_options(SF_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wswitch -Wnon-virtual-dtor
  $<$<BOOL:${SF_WARNINGS_AS_ERRORS}>:-Werror>)

# Test programs. Instrumented code takes long to optimise, and the tests' own code runs once: most of a sanitizer build
# would go into it.
add_library(SF_test_options INTERFACE)
target_link_libraries(SF_test_options INTERFACE SF_warnings)
if(SF_SANITIZE)
  target_compile_options(SF_test_options INTERFACE -O0)
endif()
