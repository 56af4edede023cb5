# The classes behind the public interface are hidden in the shared library, so their tests link the very objects
# that it is made of.
add_library(SF_internals INTERFACE)
target_compile_definitions(SF_internals INTERFACE SF_BUILDING_LIBRARY)
target_compile_features(SF_internals INTERFACE cxx_std_20)
target_include_directories(SF_internals INTERFACE $<TARGET_PROPERTY:SF,INCLUDE_DIRECTORIES>)
target_link_libraries(SF_internals INTERFACE Threads::Threads)

include(Accuracy.cmake)

file(GLOB SF_INTERNAL_TEST_SOURCES CONFIGURE_DEPENDS internal/*.cpp)
sf_leave_out_single_threaded(SF_INTERNAL_TEST_SOURCES)
add_library(sf_internal_test_objects OBJECT ${SF_INTERNAL_TEST_SOURCES})
target_include_directories(sf_internal_test_objects PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(sf_internal_test_objects PUBLIC SF_internals SF_test_options sf_accuracy_measure GTest::gtest_main)
if(SF_SANITIZE) # It pays here: these tests walk whole grids by the definition of the values.
  target_compile_options(sf_internal_test_objects PRIVATE -O1)
endif()
sf_precompile_headers(sf_internal_test_objects <gtest/gtest.h> <random>)
add_executable(sf_internal_tests $<TARGET_OBJECTS:SF>)
target_link_libraries(sf_internal_tests PRIVATE sf_internal_test_objects)
# Among these are tests that take long: they begin first, so that none of them is left over at the end.
gtest_discover_tests(sf_internal_tests DISCOVERY_TIMEOUT 60 PROPERTIES COST 5)

# Instrumentation keeps the compiler from vectorising the kernels: for the tests below, they are as in any other build.
set(forced_kernels sf_internal_tests)
if(SF_SANITIZE)
  set(forced_kernels sf_forced_kernels)
  add_executable(sf_forced_kernels "${PROJECT_SOURCE_DIR}/src/tape/SFTapeKernels.cpp"
    $<FILTER:$<TARGET_OBJECTS:SF>,EXCLUDE,/SFTapeKernels>)
  set_source_files_properties("${PROJECT_SOURCE_DIR}/src/tape/SFTapeKernels.cpp" PROPERTIES
    COMPILE_OPTIONS "${SF_KERNEL_OPTIONS};-fno-sanitize=all")
  target_link_libraries(sf_forced_kernels PRIVATE sf_internal_test_objects)
endif()

# Each kernel set once, in a process of its own; a set that the machine lacks shows as skipped.
foreach(kernels avx512 avx2 portable)
  add_test(NAME Kernels.${kernels} COMMAND ${forced_kernels} --gtest_filter=ForcedKernels.*:Random.*:Conformance.Kernels*)
  set_tests_properties(Kernels.${kernels} PROPERTIES COST 10
    ENVIRONMENT SF_KERNELS=${kernels} SKIP_REGULAR_EXPRESSION "SF_KERNELS=${kernels} skipped")
endforeach()
