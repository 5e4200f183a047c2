# What `cmake --install` puts in place for C++ hosts on Linux (GNUInstallDirs): the `qorvintr`
# command and its manual page, the library libqorvintr.a, the public headers, a CMake package
# (find_package(QorvIntr) -> QorvIntr::qorvintr, with a version file) and qorvintr.pc.
#
# The five layer libraries are combined into one installed archive: a host links one file in
# any order, pkg-config has one -l to give, and the split into layers stays the project's own
# business instead of becoming five names hosts must spell in the right order. The objects are
# the ones already compiled for the layers; nothing is built twice.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QORVINTR_LAYERS qorvintr_interpreter qorvintr_components qorvintr_support qorvintr_contract
                    qorvintr_automation)
set(_objects)
foreach(_layer ${QORVINTR_LAYERS})
  list(APPEND _objects $<TARGET_OBJECTS:${_layer}>)
endforeach()
add_library(qorvintr_installed STATIC ${_objects})
set_target_properties(qorvintr_installed PROPERTIES OUTPUT_NAME qorvintr EXPORT_NAME qorvintr)
target_include_directories(qorvintr_installed INTERFACE
                           "$<BUILD_INTERFACE:${QORVINTR_PUBLIC_INCLUDES}>"
                           "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
# Hosts compile the public headers as the library was compiled: as C++20.
target_compile_features(qorvintr_installed INTERFACE cxx_std_20)

set(QORVINTR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QorvIntr)
install(TARGETS qorvintr_installed EXPORT QorvIntrTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/qorvintr DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development FILES_MATCHING PATTERN "*.h")
install(FILES ${CMAKE_BINARY_DIR}/generated/qorvintr/version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qorvintr COMPONENT development)
install(EXPORT QorvIntrTargets NAMESPACE QorvIntr:: DESTINATION ${QORVINTR_CMAKE_DIR}
        COMPONENT development)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/QorvIntrConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/package/QorvIntrConfig.cmake
                              INSTALL_DESTINATION ${QORVINTR_CMAKE_DIR})
# Same major version: the major number changes only when hosts must change.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/QorvIntrConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/QorvIntrConfig.cmake
              ${CMAKE_BINARY_DIR}/package/QorvIntrConfigVersion.cmake
        DESTINATION ${QORVINTR_CMAKE_DIR} COMPONENT development)

# pkg-config: the prefix is found from the file's own place, so a tree unpacked anywhere (a
# staging folder, dpkg -x) answers its own paths.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(QORVINTR_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH _up "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
  set(QORVINTR_PC_PREFIX "\${pcfiledir}/${_up}")
  string(REGEX REPLACE "/$" "" QORVINTR_PC_PREFIX "${QORVINTR_PC_PREFIX}")
endif()
configure_file(${CMAKE_SOURCE_DIR}/cmake/qorvintr.pc.in ${CMAKE_BINARY_DIR}/package/qorvintr.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/qorvintr.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(TARGETS qorvintr RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)

# A stripped install (cmake --install --strip, cpack) strips as Debian's tools do: the archive
# keeps its symbols and loses its debug information, and neither file keeps .comment or .note.
if(CMAKE_STRIP)
  set(_strip_args --remove-section=.comment --remove-section=.note)
  install(CODE "
    if(CMAKE_INSTALL_DO_STRIP)
      set(_root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
      execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug ${_strip_args}
                              \"\${_root}/${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:qorvintr_installed>\"
                      COMMAND_ERROR_IS_FATAL ANY)
      execute_process(COMMAND \"${CMAKE_STRIP}\" ${_strip_args}
                              \"\${_root}/${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:qorvintr>\"
                      COMMAND_ERROR_IS_FATAL ANY)
    endif()" COMPONENT development)
endif()

# Manual page and Debian changelog go in compressed (gzip -9n: no name or time stamp inside).
find_program(QORVINTR_GZIP gzip REQUIRED)
set(_gz_outputs)
configure_file(${CMAKE_SOURCE_DIR}/packaging/qorvintr.1.in ${CMAKE_BINARY_DIR}/package/qorvintr.1 @ONLY)
foreach(_pair "${CMAKE_BINARY_DIR}/package/qorvintr.1;qorvintr.1.gz"
              "${CMAKE_SOURCE_DIR}/packaging/changelog.Debian;changelog.Debian.gz")
  list(GET _pair 0 _in)
  list(GET _pair 1 _out)
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/package/${_out}
                     COMMAND ${QORVINTR_GZIP} -9n -c ${_in} > ${CMAKE_BINARY_DIR}/package/${_out}
                     DEPENDS ${_in} VERBATIM)
  list(APPEND _gz_outputs ${CMAKE_BINARY_DIR}/package/${_out})
endforeach()
add_custom_target(qorvintr_package_docs ALL DEPENDS ${_gz_outputs})
install(FILES ${CMAKE_BINARY_DIR}/package/qorvintr.1.gz
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command)
set(QORVINTR_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/qorvintr)
install(FILES ${CMAKE_BINARY_DIR}/package/changelog.Debian.gz ${CMAKE_SOURCE_DIR}/packaging/copyright
        DESTINATION ${QORVINTR_DOC_DIR} COMPONENT command)
install(FILES ${CMAKE_SOURCE_DIR}/examples/document-fields.txt ${CMAKE_SOURCE_DIR}/examples/hl7-scripts.txt
        DESTINATION ${QORVINTR_DOC_DIR}/examples COMPONENT command)
install(FILES ${CMAKE_SOURCE_DIR}/packaging/lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME qorvintr COMPONENT command)
