# Debian's armhf: ARMv7 with hardware floating point, as panels have it. Give the
# root file system that packaging/arm-sysroot makes as MLX_ARM_SYSROOT.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

if(NOT MLX_ARM_SYSROOT)
    message(FATAL_ERROR "MLX_ARM_SYSROOT is not set; make one with packaging/arm-sysroot")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MLX_ARM_SYSROOT)
set(CMAKE_SYSROOT ${MLX_ARM_SYSROOT})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Nothing of the root file system runs by itself; tests run under the emulator.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L ${MLX_ARM_SYSROOT})
