# What the documents say is true: their links lead somewhere, the token table is that of the library, their programs
# are built and run, and their commands give what they show.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(check Python3::Interpreter "${CMAKE_CURRENT_SOURCE_DIR}/check_documents.py")

# Builds a C++ program of a document, by its number among them, whose output the document shows in the text block after
# it. The program links the libraries that follow.
function(sf_add_document_example name document number)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${document}")
  set(fence "```cpp\n")
  file(READ "${document}" text)
  string(LENGTH "${fence}" length)
  foreach(passed RANGE ${number})
    string(FIND "${text}" "${fence}" begin)
    math(EXPR begin "${begin} + ${length}")
    string(SUBSTRING "${text}" ${begin} -1 text)
  endforeach()
  string(FIND "${text}" "```" end)
  string(SUBSTRING "${text}" 0 ${end} text)
  file(CONFIGURE OUTPUT ${name}.cpp CONTENT "${text}" @ONLY)

  add_executable(${name} "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
  target_link_libraries(${name} PRIVATE SF::SF ${ARGN} SF_test_options)
  add_test(NAME Documents.${name} COMMAND ${check} example "${document}" ${number} $<TARGET_FILE:${name}>)
endfunction()

add_test(NAME Documents.Links COMMAND ${check} links)
add_test(NAME Documents.TokenTable COMMAND ${check} tokens)
if(TARGET SF_Modelling)
  sf_add_document_example(readme_bracket "${PROJECT_SOURCE_DIR}/README.md" 0 SF::Modelling)
endif()
sf_add_document_example(readme_example "${PROJECT_SOURCE_DIR}/README.md" 1)
sf_add_document_example(readme_graph_by_hand "${PROJECT_SOURCE_DIR}/README.md" 2)
sf_add_document_example(compiled_field_example "${PROJECT_SOURCE_DIR}/docs/compiled_field.md" 0)
if(TARGET sfdag)
  add_test(NAME Documents.Commands COMMAND ${check} commands $<TARGET_FILE:sfdag>)
endif()
