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

# Makes and installs the manual of a program. It is left out where nothing can make it.
find_program(SCDOC scdoc)
function(register_install_manual program component)
  if(SCDOC)
    add_custom_command(OUTPUT ${program}.1
      COMMAND sh -c "\"$1\" <\"$2\" >\"$3\"" sh
        ${SCDOC} ${CMAKE_CURRENT_SOURCE_DIR}/${program}.1.scd ${program}.1
      DEPENDS ${program}.1.scd VERBATIM)
    add_custom_target(${program}-manual ALL DEPENDS ${program}.1)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${program}.1
      DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
  endif()
endfunction()
