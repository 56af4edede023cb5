# What every target of this project is compiled with.
#
# No contraction: a fused multiply-add rounds once where the source says twice, and results would then depend on
# the machine that the compiler was asked to build for.

option(SF_WARNINGS_AS_ERRORS "Fail the build on any warning" OFF)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

add_compile_options(-ffp-contract=off)

add_library(SF_warnings INTERFACE)
target_compile_options(SF_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wswitch -Wnon-virtual-dtor
  $<$<BOOL:${SF_WARNINGS_AS_ERRORS}>:-Werror>)
