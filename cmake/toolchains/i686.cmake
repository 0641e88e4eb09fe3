# 32-bit x86, by Debian's cross compiler: g++-i686-linux-gnu, and qemu-user where the machine does not
# run such programs itself, by the target's own loader.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(loader /usr/i686-linux-gnu/lib/ld-linux.so.2)
execute_process(COMMAND ${loader} --version RESULT_VARIABLE loader_failed OUTPUT_QUIET ERROR_QUIET)
if(loader_failed)
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386 -L /usr/i686-linux-gnu)
else()
    set(CMAKE_CROSSCOMPILING_EMULATOR ${loader} --library-path /usr/i686-linux-gnu/lib)
endif()

set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
