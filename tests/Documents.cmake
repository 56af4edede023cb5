# What the documents say is true: their links lead somewhere, the token table is that of the library, the program of
# the README is built and run, and its commands give what it shows.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(readme "${PROJECT_SOURCE_DIR}/README.md")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${readme}")
set(fence "```cpp\n")
file(READ "${readme}" text)
string(FIND "${text}" "${fence}" begin)
string(LENGTH "${fence}" length)
math(EXPR begin "${begin} + ${length}")
string(SUBSTRING "${text}" ${begin} -1 text)
string(FIND "${text}" "```" end)
string(SUBSTRING "${text}" 0 ${end} text)
file(CONFIGURE OUTPUT readme_example.cpp CONTENT "${text}" @ONLY)

add_executable(readme_example "${CMAKE_CURRENT_BINARY_DIR}/readme_example.cpp")
target_link_libraries(readme_example PRIVATE SF::SF SF_warnings)

set(check Python3::Interpreter "${CMAKE_CURRENT_SOURCE_DIR}/check_documents.py")
add_test(NAME Documents.Links COMMAND ${check} links)
add_test(NAME Documents.TokenTable COMMAND ${check} tokens)
add_test(NAME Documents.Example COMMAND ${check} example $<TARGET_FILE:readme_example>)
if(TARGET sfdag)
  add_test(NAME Documents.Commands COMMAND ${check} commands $<TARGET_FILE:sfdag>)
endif()
