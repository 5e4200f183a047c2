@echo off
rem Registers the three COM servers from the folder of this script (run as administrator).
rem The DLLs stay where they are: the registry points at this folder.
setlocal
for %%d in (QorvIntr.dll QorvDFld.dll QorvLog.dll) do (
  regsvr32 /s "%~dp0%%d"
  if errorlevel 1 (
    echo register.cmd: regsvr32 %%d failed 1>&2
    exit /b 1
  )
)
echo QorvIntr.dll, QorvDFld.dll and QorvLog.dll registered from %~dp0
