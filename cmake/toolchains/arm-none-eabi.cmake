# A bare board with an ARMv7-A processor that has NEON, by Debian's gcc-arm-none-eabi,
# libnewlib-arm-none-eabi and libstdc++-arm-none-eabi-newlib (of the last the headers alone).
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR armv7)
set(CMAKE_C_COMPILER arm-none-eabi-gcc)
set(CMAKE_CXX_COMPILER arm-none-eabi-g++)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY) # a program needs a linker script
foreach(language IN ITEMS C CXX ASM)
    set(CMAKE_${language}_FLAGS_INIT "-mthumb -march=armv7-a+neon -mfloat-abi=hard")
endforeach()
