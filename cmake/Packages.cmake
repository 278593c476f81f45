# What cpack makes: Debian packages (run-time, development, debug symbols) and the Windows archive.
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime FILES_MATCHING PATTERN *.md PATTERN *.h)

set(CPACK_PACKAGE_VENDOR "The utils developers")
set(CPACK_PACKAGE_CONTACT "The utils developers <developers@utils.example>")
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-win64)
  set(CPACK_STRIP_FILES ON)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)

  # Named after the SONAME, so that programs built for another one keep theirs.
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libutils${PROJECT_VERSION_MAJOR})
  set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "The library, its platform libraries and ffdc-collect.")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
  # Loaded by name, or run, when something is to be transferred or packed.
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "libcurl4, zip")

  set(CPACK_DEBIAN_DEV_PACKAGE_NAME libutils-dev)
  set(CPACK_COMPONENT_DEV_DESCRIPTION
    "Development files: headers, the CMake package and the pkg-config file.")
  set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "libutils${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), libboost-dev")
endif()
include(CPack)
