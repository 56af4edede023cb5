# What the documents say is true: their links lead somewhere, the token table is that of the library, and their code blocks
# are built, run or read, each by its language (check_documents.py).

find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(script "${CMAKE_CURRENT_SOURCE_DIR}/check_documents.py")
set(check Python3::Interpreter "${script}")

# The C++ programs of all documents, written and named by the script, each with the library that its headers belong to.
file(GLOB documents CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/*.md" "${PROJECT_SOURCE_DIR}/docs/*.md")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${documents} "${script}")
set(folder "${CMAKE_CURRENT_BINARY_DIR}/documents")
execute_process(COMMAND "${Python3_EXECUTABLE}" "${script}" programs "${folder}"
  OUTPUT_VARIABLE programs OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" ";" programs "${programs}")
foreach(program IN LISTS programs)
  separate_arguments(program UNIX_COMMAND "${program}")
  list(POP_FRONT program name library)
  if(TARGET ${library})
    add_executable(document_${name} "${folder}/${name}.cpp")
    target_link_libraries(document_${name} PRIVATE ${library} SF_test_options)
    add_test(NAME Documents.${name} COMMAND ${check} example ${name} $<TARGET_FILE:document_${name}>)
  endif()
endforeach()

foreach(subject IN ITEMS links tokens blocks)
  add_test(NAME Documents.${subject} COMMAND ${check} ${subject})
endforeach()
foreach(guide IN ITEMS ADDING_AN_OPERATOR ADDING_A_SHAPE)
  add_test(NAME Documents.${guide} COMMAND ${check} guide ${guide} "${CMAKE_CXX_COMPILER}")
endforeach()
if(TARGET sfdag AND NOT SF_SANITIZE) # pictures by instrumented code take many minutes
  add_test(NAME Documents.commands COMMAND ${check} commands $<TARGET_FILE:sfdag>)
  set_tests_properties(Documents.commands PROPERTIES COST 20 TIMEOUT 900) # it draws the pictures of the tutorial
endif()
if(TARGET sfdag)
  add_test(NAME Documents.grammars
    COMMAND Python3::Interpreter "${CMAKE_CURRENT_SOURCE_DIR}/check_grammars.py" $<TARGET_FILE:sfdag>)
endif()
if(TARGET SF_Modelling AND NOT SF_SANITIZE)
  add_test(NAME Packaging.HostGuide COMMAND ${check} host "${stage}" "${CMAKE_INSTALL_LIBDIR}")
  set_tests_properties(Packaging.HostGuide PROPERTIES FIXTURES_REQUIRED installed)
endif()
