# Threads of a host on one library, for a short time; sf_load --help tells how to give it more.

find_package(CLI11 REQUIRED)

file(GLOB SF_LOAD_SOURCES CONFIGURE_DEPENDS load/*.cpp)
add_executable(sf_load ${SF_LOAD_SOURCES})
target_link_libraries(sf_load PRIVATE SF::SF SF_test_options CLI11::CLI11)

# The sanitizers keep what has been freed for a while.
set(limits --memory 1024 --slack 48)
if(SF_SANITIZE)
  set(limits --memory 4096 --slack 1024)
endif()
add_test(NAME Threads.Load COMMAND sf_load --seconds 3 --threads 8 ${limits})
set_tests_properties(Threads.Load PROPERTIES COST 5)
