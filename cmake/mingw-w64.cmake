# Cross-building for Windows with Debian's MinGW-w64, posix thread model (the one Qt for
# Windows is built with by scripts/qt-mingw; its C++ library has std::thread).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
# KVB_FIND_ROOTS adds the folders of cross-built libraries (scripts/mingw-deps) to MinGW-w64's own.
set(CMAKE_FIND_ROOT_PATH ${KVB_FIND_ROOTS} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Qt's DLLs load the MinGW runtime DLLs anyway, so the programs share them rather than
# carrying a second copy of the C++ library: scripts/windows ships them beside the programs.
# CTest runs the Windows test executables through Wine.
find_program(KVB_WINE wine)
if(KVB_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${KVB_WINE})
endif()
