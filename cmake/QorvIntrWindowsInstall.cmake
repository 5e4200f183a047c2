# What the Windows zip holds, flat in one folder: the COM servers (type libraries built in),
# qorvintr.exe, the scripts that register them from that folder, the README and the licence.
foreach(_server QorvIntr QorvDFld QorvLog)
  install(PROGRAMS $<TARGET_FILE:${_server}> DESTINATION .)
endforeach()
install(PROGRAMS $<TARGET_FILE:qorvintr> DESTINATION .)
# cmd.exe reads batch files with CR LF line ends; the repository keeps LF.
foreach(_script register.cmd unregister.cmd)
  configure_file(${CMAKE_SOURCE_DIR}/packaging/windows/${_script} ${CMAKE_BINARY_DIR}/package/${_script}
                 @ONLY NEWLINE_STYLE CRLF)
  install(FILES ${CMAKE_BINARY_DIR}/package/${_script} DESTINATION .)
endforeach()
install(FILES ${CMAKE_SOURCE_DIR}/README.md ${CMAKE_SOURCE_DIR}/LICENSE DESTINATION .)
