# No value depends on the machine: the bits of some grids, by each kernel set (one that is not there falls back).
add_executable(sf_grid_hashes hashes/main.cpp)
target_link_libraries(sf_grid_hashes PRIVATE SF::SF SF_test_options)
foreach(kernels avx512 avx2 portable)
  add_test(NAME GridHashes.${kernels}
    COMMAND sf_grid_hashes "${CMAKE_CURRENT_SOURCE_DIR}/data/grid_hashes.txt" "${PROJECT_SOURCE_DIR}")
  set_tests_properties(GridHashes.${kernels} PROPERTIES ENVIRONMENT SF_KERNELS=${kernels})
endforeach()
