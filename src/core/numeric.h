// Conversions between bytes and floats, each with its rounding in its name.
#ifndef KELVRA_CV_CORE_NUMERIC_H_
#define KELVRA_CV_CORE_NUMERIC_H_

#include <cstdint>

namespace KelvraCV::detail {

// The single-precision number nearest 1/255: what a byte is multiplied by on its way to [0, 1].
constexpr float kInverse255 = 0.003921569f;

// Clamped to [0, 255], then truncated toward zero. NaN gives 0.
inline uint8_t truncate_byte(float value) {
  const float positive = value > 0.0f ? value : 0.0f;
  return static_cast<uint8_t>(static_cast<int>(positive < 255.0f ? positive : 255.0f));
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_NUMERIC_H_
