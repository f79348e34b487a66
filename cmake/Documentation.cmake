# The target "documentation" makes the reference of the interface with Doxygen, into the folder html of
# the build. It fails for a public name without a comment.
find_program(DOXYGEN doxygen)
set(REGISTER_DOCUMENTED ${REGISTER_PUBLIC_HEADERS})
list(TRANSFORM REGISTER_DOCUMENTED PREPEND "${PROJECT_SOURCE_DIR}/")
list(JOIN REGISTER_DOCUMENTED " " REGISTER_DOCUMENTED)
configure_file(cmake/Doxyfile.in Doxyfile @ONLY)
if(DOXYGEN)
  add_custom_target(documentation COMMAND ${DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile VERBATIM)
endif()
