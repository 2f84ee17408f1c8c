# The toolchain that builds for Windows on Debian, with the libraries of scripts/windows-libraries.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/wine")

set(NEMBRA_WINDOWS_LIBRARIES "${CMAKE_CURRENT_LIST_DIR}/../build/windows-libraries/prefix" CACHE PATH
    "Where the libraries for Windows are")
get_filename_component(CMAKE_FIND_ROOT_PATH "${NEMBRA_WINDOWS_LIBRARIES}" REALPATH)
list(APPEND CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Programs of this machine, which translate.
file(GLOB Qt5LinguistTools_DIR "/usr/lib/*/cmake/Qt5LinguistTools")
