# Language level, warnings, sanitizers and instruction sets of every target of this project.

if(MSVC)
  message(FATAL_ERROR
    "kelvra_cv is built by GCC or clang; Microsoft's compiler is not supported.")
endif()

add_library(kelvra_cv_settings INTERFACE)
target_compile_features(kelvra_cv_settings INTERFACE cxx_std_17)
set(CMAKE_CXX_EXTENSIONS OFF)
target_compile_options(kelvra_cv_settings INTERFACE -Wno-psabi)
if(PROJECT_IS_TOP_LEVEL)  # else the parent project's warnings are enough
  target_compile_options(kelvra_cv_settings INTERFACE -Wall -Wextra -Wshadow)
endif()

# A fused multiply-add rounds once where a product and a sum round twice. Which of the two a
# formula means is written in the formula (std::fma), never left to the compiler. The first option
# takes back a parent project's -ffast-math.
target_compile_options(kelvra_cv_settings INTERFACE -fno-fast-math -ffp-contract=off)

if(KELVRA_CV_SANITIZE)
  # Tests compile in half of the time; the library keeps its own -O3, which comes after this.
  add_compile_options(-O1)
  target_compile_options(kelvra_cv_settings INTERFACE
    -fsanitize=${KELVRA_CV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  target_link_options(kelvra_cv_settings INTERFACE -fsanitize=${KELVRA_CV_SANITIZE})
  # GCC 12 sees uninitialised members inside of the standard library's expressions then.
  target_compile_options(kelvra_cv_settings INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  # GCC's arm_neon.h has intrinsics that wrap as sums and products of signed vectors, which GCC 12
  # reports as overflows, even where there is none. The x86-64 builds check the same scalar code.
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64" AND KELVRA_CV_SANITIZE MATCHES "undefined")
    target_compile_options(kelvra_cv_settings INTERFACE
      $<$<CXX_COMPILER_ID:GNU>:-fno-sanitize=signed-integer-overflow>)
  endif()
endif()

# The library's own kernels only: applications keep the instruction set that they chose.
add_library(kelvra_cv_kernel_settings INTERFACE)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  # AVX2 with fused multiply-add. Highway also asks for AES and CLMUL unless told that no kernel
  # needs them.
  target_compile_options(kelvra_cv_kernel_settings INTERFACE -march=x86-64-v3)
  target_compile_definitions(kelvra_cv_kernel_settings INTERFACE HWY_DISABLE_PCLMUL_AES)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  # With GCC, Highway's NEON operations must be compiled with the crypto extension enabled; none
  # of the library's code uses it.
  target_compile_options(kelvra_cv_kernel_settings INTERFACE -march=armv8-a+crypto)
else()
  message(FATAL_ERROR "kelvra_cv supports x86-64 and arm64, not ${CMAKE_SYSTEM_PROCESSOR}")
endif()
