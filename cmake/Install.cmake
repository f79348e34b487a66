# Links the public headers into one folder, for projects that build the sources. Installs the headers
# below one versioned folder, the library, the CMake package and the pkg-config file, in the components
# Runtime and Development.
include(CMakePackageConfigHelpers)

set(REGISTER_PUBLIC_HEADERS
  exception/Exception.h
  exception/Export.h
  filesystem/DirEntry.h
  filesystem/FileHandle.h
  filesystem/FileSystem.h
  filesystem/RAMFileSystem.h
  filesystem/RealFileSystem.h
  register/Directories.h
  register/Group.h
  register/GuiTypes.h
  register/Limits.h
  register/Property.h
  register/PropertyValue.h
  register/QtTypes.h
  register/Records.h
  register/Register.h
  register/RegisterFile.h
  register/Storage.h
  register/Subscription.h
  register/TestRegister.h
  register/Version.h)
if(REGISTER_QT_LAYER)
  list(APPEND REGISTER_PUBLIC_HEADERS
    qt/AutoSave.h
    qt/Export.h
    qt/FileWatch.h
    qt/LiveProperty.h
    qt/PostOnce.h
    qt/RegisterModel.h
    qt/RegisterSource.h
    qt/ValueVariant.h)
endif()
if(REGISTER_WIDGETS)
  list(APPEND REGISTER_PUBLIC_HEADERS
    widgets/Export.h
    widgets/SettingsBinder.h)
endif()
foreach(header IN LISTS REGISTER_PUBLIC_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include/${folder})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${PROJECT_BINARY_DIR}/include/${header} SYMBOLIC)
  if(REGISTER_INSTALL)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/register-1/${folder}
      COMPONENT Development)
  endif()
endforeach()

set(REGISTER_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/register)
configure_package_config_file(cmake/register-config.cmake.in register-config.cmake
  INSTALL_DESTINATION ${REGISTER_CMAKE_DIR})
write_basic_package_version_file(register-config-version.cmake COMPATIBILITY SameMajorVersion)

if(NOT REGISTER_INSTALL)
  return()
endif()
# Installs a library of this project as a component of the CMake package. The folder of the build is a
# package too: -Dregister_DIR=build/dev.
function(register_install_library library)
  install(TARGETS ${library} EXPORT ${library}-targets
    LIBRARY COMPONENT Runtime NAMELINK_COMPONENT Development
    ARCHIVE COMPONENT Development)
  export(EXPORT ${library}-targets NAMESPACE register::
    FILE ${PROJECT_BINARY_DIR}/${library}-targets.cmake)
  install(EXPORT ${library}-targets NAMESPACE register:: DESTINATION ${REGISTER_CMAKE_DIR}
    COMPONENT Development)
endfunction()
register_install_library(register)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/register-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/register-config-version.cmake
  DESTINATION ${REGISTER_CMAKE_DIR} COMPONENT Development)

# The prefix is relative to the pkg-config file, so the installation can be moved.
file(RELATIVE_PATH REGISTER_PC_PREFIX
  ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/register-1.pc.in register-1.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/register-1.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
