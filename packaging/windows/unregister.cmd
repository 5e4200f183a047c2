@echo off
rem Removes the registry keys of the three COM servers of this script's folder (as administrator).
setlocal
for %%d in (QorvIntr.dll QorvDFld.dll QorvLog.dll) do (
  regsvr32 /s /u "%~dp0%%d"
  if errorlevel 1 (
    echo unregister.cmd: regsvr32 /u %%d failed 1>&2
    exit /b 1
  )
)
echo QorvIntr.dll, QorvDFld.dll and QorvLog.dll unregistered
