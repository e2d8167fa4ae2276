# Cross-compiling for arm64 with Debian's compiler and its arm64 packages installed as a foreign
# architecture (dpkg --add-architecture arm64); programs run under user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
if(KELVRA_CV_ARM64_CLANG)
  set(CMAKE_CXX_COMPILER clang++)
  set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
else()
  set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
endif()
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KELVRA_CV_ARM64_CLANG)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# The packages' own libraries under /: with the cross compiler's folder as the root, programs that
# start threads hang.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /)

# Of the libraries, the arm64 ones only; headers are shared by the architectures.
set(CMAKE_FIND_ROOT_PATH /usr/lib/aarch64-linux-gnu /usr/include/aarch64-linux-gnu)
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /usr/include/x86_64-linux-gnu
    /usr/include/x86_64-linux-gnu/opencv4 /usr/lib/x86_64-linux-gnu/cmake)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
