@echo off
rem kvBeacon and the phone dashboard together: kvBeacon's window (unless it is already open),
rem then kvbeacon-web in this window, which opens a page in the PC's browser with the address
rem and QR code for the phone. Closing this window stops the phone dashboard.
title kvBeacon phone dashboard
cd /d "%~dp0"
tasklist /FI "IMAGENAME eq kvbeacon.exe" 2>nul | find /I "kvbeacon.exe" >nul || start "" kvbeacon.exe
kvbeacon-web.exe --open %*
echo.
echo kvbeacon-web has stopped. Press a key to close this window.
pause >nul
