# The errors of the elementary functions, against MPFR: a part of the internal tests, and a program for as many arguments
# as one likes.
find_library(SF_MPFR mpfr REQUIRED)
find_library(SF_GMP gmp REQUIRED)
add_library(sf_accuracy_measure STATIC accuracy/Accuracy.cpp)
target_include_directories(sf_accuracy_measure PUBLIC accuracy)
target_compile_options(sf_accuracy_measure PRIVATE -O2)
target_link_libraries(sf_accuracy_measure PUBLIC SF_internals "${SF_MPFR}" "${SF_GMP}" PRIVATE SF_test_options)
add_executable(sf_accuracy accuracy/main.cpp $<FILTER:$<TARGET_OBJECTS:SF>,INCLUDE,/operators/>)
target_link_libraries(sf_accuracy PRIVATE sf_accuracy_measure SF_test_options)
