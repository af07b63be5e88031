# 64-bit Windows through Debian's MinGW-w64 (POSIX threads model), run under Wine. Boost and
# GoogleTest come from the prefix that ./dev windows prepares once, where cmake/cache-dir says.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../cache-dir mingw-w64
                OUTPUT_VARIABLE cpputil_mingw_cache OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT IS_DIRECTORY "${cpputil_mingw_cache}/prefix")
  message(FATAL_ERROR "No MinGW-w64 dependencies in ${cpputil_mingw_cache}: ./dev windows makes them")
endif()
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 "${cpputil_mingw_cache}/prefix")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/wine-run;${cpputil_mingw_cache}")
# The DLLs that the installed ones need are found with the cross objdump.
set(CMAKE_GET_RUNTIME_DEPENDENCIES_PLATFORM windows+pe)
set(CMAKE_GET_RUNTIME_DEPENDENCIES_TOOL objdump)
set(CMAKE_GET_RUNTIME_DEPENDENCIES_COMMAND x86_64-w64-mingw32-objdump)
