@echo off
rem unregister.cmd: removes all that register.cmd wrote. Run it as administrator.
setlocal
set "folder=%~dp0"
set "regsvr32=%SystemRoot%\System32\regsvr32.exe"
call :unregister 64
if errorlevel 1 goto failed
set "regsvr32=%SystemRoot%\SysWOW64\regsvr32.exe"
if not exist "%regsvr32%" goto done
call :unregister 32
if errorlevel 1 goto failed
:done
echo unregistered
exit /b 0

:unregister
"%regsvr32%" /s /u "%folder%%1\quillmark.dll"
if errorlevel 1 exit /b 1
"%regsvr32%" /s /u "%folder%%1\vantrel.dll"
if errorlevel 1 exit /b 1
exit /b 0

:failed
echo unregister.cmd: the registry refused; run it as administrator
exit /b 1
