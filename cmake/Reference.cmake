# The target `reference`: HTML pages of the public headers and guides. Warnings are errors.
find_program(DOXYGEN doxygen)
if(DOXYGEN)
  configure_file(docs/Doxyfile.in Doxyfile @ONLY)
  add_custom_target(reference
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${PROJECT_BINARY_DIR}/reference
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/reference
    COMMAND ${DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
    VERBATIM)
endif()
