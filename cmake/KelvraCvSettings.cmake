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

# The instruction sets of x86-64 that the library is built for: its own, and after it those of
# further libraries for processors that have more, which the dynamic loader of glibc finds by itself.
set(levels x86-64-v3)
if(PROJECT_IS_TOP_LEVEL AND BUILD_SHARED_LIBS AND NOT KELVRA_CV_SANITIZE AND
   CMAKE_SYSTEM_NAME STREQUAL "Linux" AND CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  include(CheckCXXSymbolExists)
  check_cxx_symbol_exists(__GLIBC__ features.h KELVRA_CV_GLIBC)
  if(KELVRA_CV_GLIBC)
    list(APPEND levels x86-64-v4)
  endif()
endif()
set(KELVRA_CV_X86_LEVELS "${levels}" CACHE STRING
  "Instruction sets of x86-64: the library's, then those of further ones in glibc-hwcaps")

# The library's own kernels only: applications keep the instruction set that they chose.
function(kelvra_cv_kernel_settings target level)
  add_library(${target} INTERFACE)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    # x86-64-v3: AVX2 with fused multiply-add. x86-64-v4: vectors of 512 bits, also in loops that
    # the compiler vectorises: told to prefer 256, GCC copies the kernels' vectors by halves, which
    # reading them back waits for. Highway also asks for AES and CLMUL unless told that no kernel
    # needs them.
    target_compile_options(${target} INTERFACE -march=${level})
    target_compile_definitions(${target} INTERFACE HWY_DISABLE_PCLMUL_AES)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    # With GCC, Highway's NEON operations must be compiled with the crypto extension enabled; none
    # of the library's code uses it.
    target_compile_options(${target} INTERFACE -march=armv8-a+crypto)
  else()
    message(FATAL_ERROR "kelvra_cv supports x86-64 and arm64, not ${CMAKE_SYSTEM_PROCESSOR}")
  endif()
endfunction()
list(GET KELVRA_CV_X86_LEVELS 0 level)
kelvra_cv_kernel_settings(kelvra_cv_kernel_settings ${level})
