@echo off
rem register.cmd [standin]: registers the component for 64-bit and for 32-bit hosts; with "standin" also
rem the stand-in for a host's diagnostic library. Run it as administrator.
setlocal
set "folder=%~dp0"
set "regsvr32=%SystemRoot%\System32\regsvr32.exe"
call :register 64 %1
if errorlevel 1 goto failed
set "regsvr32=%SystemRoot%\SysWOW64\regsvr32.exe"
if not exist "%regsvr32%" goto done
call :register 32 %1
if errorlevel 1 goto failed
:done
echo registered
exit /b 0

:register
"%regsvr32%" /s "%folder%%1\quillmark.dll"
if errorlevel 1 exit /b 1
if not "%2"=="standin" exit /b 0
"%regsvr32%" /s "%folder%%1\vantrel.dll"
if errorlevel 1 exit /b 1
exit /b 0

:failed
echo register.cmd: the registry refused; run it as administrator
exit /b 1
