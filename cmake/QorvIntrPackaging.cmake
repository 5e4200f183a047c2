# Packages (CPack). Linux: one Debian package `qorvintr` (the command, the library, headers,
# CMake package, pkg-config file, manual page, copyright). Windows cross build: a zip with the
# three COM servers, qorvintr.exe, register.cmd / unregister.cmd, the README and the licence.
set(CPACK_PACKAGE_NAME qorvintr)
set(CPACK_PACKAGE_VENDOR "The QorvIntr developers")
set(CPACK_PACKAGE_CONTACT "The QorvIntr developers <qorvintr@lists.example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "embeddable interpreter for short field scripts")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
# Directories of the package are 0755 whatever the umask of the machine that builds it.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME QorvIntr-${PROJECT_VERSION}-win64)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
  set(CPACK_DEBIAN_PACKAGE_SECTION devel)
  set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  file(READ ${CMAKE_SOURCE_DIR}/packaging/description.txt CPACK_DEBIAN_PACKAGE_DESCRIPTION)
  string(STRIP "${CPACK_DEBIAN_PACKAGE_DESCRIPTION}" CPACK_DEBIAN_PACKAGE_DESCRIPTION)
endif()
include(CPack)
