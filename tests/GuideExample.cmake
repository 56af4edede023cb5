# The program of the guide to compiled fields is built, and prints what the guide says.

set(guide "${PROJECT_SOURCE_DIR}/docs/compiled_field.md")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${guide}")
file(READ "${guide}" text)
foreach(language IN ITEMS cpp text)
  string(REGEX MATCH "```${language}\n[^`]*" guide_${language} "${text}")
  string(REPLACE "```${language}\n" "" guide_${language} "${guide_${language}}")
endforeach()
file(CONFIGURE OUTPUT compiled_field_example.cpp CONTENT "${guide_cpp}" @ONLY)
add_executable(compiled_field_example "${CMAKE_CURRENT_BINARY_DIR}/compiled_field_example.cpp")
target_link_libraries(compiled_field_example PRIVATE SF::SF SF_warnings)

add_test(NAME Documents.CompiledField COMMAND compiled_field_example)
string(REGEX REPLACE "([()])" "[\\1]" guide_text "${guide_text}")
set_tests_properties(Documents.CompiledField PROPERTIES PASS_REGULAR_EXPRESSION "^${guide_text}$")
