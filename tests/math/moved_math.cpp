// A math library for the tests, to be loaded before the C library's: what that one returns, moved
// by one unit in the last place, up or down, or at random as the argument's bits decide. Results of
// ours that stay the same do not depend on whose library it is.
#include <dlfcn.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

template <class T>
T moved(T result, T argument) {
  static const std::string mode = [] {
    const char* const text = std::getenv("KELVRA_CV_MOVED_MATH");
    return std::string(text == nullptr ? "" : text);
  }();
  if (mode == "up") return std::nextafter(result, T(INFINITY));
  if (mode == "down") return std::nextafter(result, T(-INFINITY));
  if (mode != "random") return result;
  uint64_t bits = 0;
  std::memcpy(&bits, &argument, sizeof argument);
  const uint64_t third = bits * 0x9e3779b97f4a7c15u >> 32;
  if (third % 3 == 0) return result;
  return std::nextafter(result, T(third % 3 == 1 ? INFINITY : -INFINITY));
}

}  // namespace

#define MOVED(T, name)                          \
  extern "C" T name(T x) noexcept {             \
    static const auto real = next<T(T)>(#name); \
    return moved(real(x), x);                   \
  }
#define MOVED2(T, name)                            \
  extern "C" T name(T x, T y) noexcept {           \
    static const auto real = next<T(T, T)>(#name); \
    return moved(real(x, y), x + y);               \
  }
#define MOVED_PAIR(T, name)                                \
  extern "C" void name(T x, T* sine, T* cosine) noexcept { \
    static const auto real = next<void(T, T*, T*)>(#name); \
    real(x, sine, cosine);                                 \
    *sine = moved(*sine, x);                               \
    *cosine = moved(*cosine, x);                           \
  }

MOVED(float, cbrtf)
MOVED(float, expf)
MOVED(float, sinf)
MOVED(float, cosf)
MOVED(float, logf)
MOVED2(float, powf)
MOVED2(float, atan2f)
MOVED_PAIR(float, sincosf)
MOVED(double, cbrt)
MOVED(double, exp)
MOVED(double, sin)
MOVED(double, cos)
MOVED(double, log)
MOVED2(double, pow)
MOVED2(double, atan2)
MOVED_PAIR(double, sincos)
