# The classes behind the public interface are hidden in the shared library, so their tests link the very objects
# that it is made of.
add_library(SF_internals INTERFACE)
target_sources(SF_internals INTERFACE $<TARGET_OBJECTS:SF>)
target_compile_definitions(SF_internals INTERFACE SF_BUILDING_LIBRARY)
target_compile_features(SF_internals INTERFACE cxx_std_20)
target_include_directories(SF_internals INTERFACE $<TARGET_PROPERTY:SF,INCLUDE_DIRECTORIES>)
target_link_libraries(SF_internals INTERFACE Threads::Threads)

file(GLOB SF_INTERNAL_TEST_SOURCES CONFIGURE_DEPENDS internal/*.cpp)
add_executable(sf_internal_tests ${SF_INTERNAL_TEST_SOURCES})
target_include_directories(sf_internal_tests PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(sf_internal_tests PRIVATE SF_internals SF_test_options GTest::gtest_main)
gtest_discover_tests(sf_internal_tests DISCOVERY_TIMEOUT 60)

# Each kernel set once, in a process of its own; a set that the machine lacks shows as skipped.
foreach(kernels avx512 avx2 portable)
  add_test(NAME Kernels.${kernels} COMMAND sf_internal_tests --gtest_filter=ForcedKernels.*:Random.*)
  set_tests_properties(Kernels.${kernels} PROPERTIES
    ENVIRONMENT SF_KERNELS=${kernels} SKIP_REGULAR_EXPRESSION "SF_KERNELS=${kernels} skipped")
endforeach()
