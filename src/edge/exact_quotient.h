// Division of many numbers by the same one.
#ifndef KELVRA_CV_EDGE_EXACT_QUOTIENT_H_
#define KELVRA_CV_EDGE_EXACT_QUOTIENT_H_

#include <cstdint>

namespace KelvraCV::detail {

// n / divisor, truncated, for n from 0 to 255 * divisor. For divisors from 1 to 2^24 without a
// division:
//
// With m = floor(2^56 / d) + 1, m d = 2^56 + e and 0 < e <= d. Then n m / 2^56 = n / d + error with
// error = n e / (d 2^56) <= 255 d / 2^56. A quotient n / d is at least 1 / d below the next whole
// number, so truncation gives the same as long as 255 d / 2^56 < 1 / d, or 255 d^2 < 2^56, which
// d <= 2^24 is. The product fits 64 bits: n m <= 255 d (2^56 / d + 1) = 255 (2^56 + d) < 2^64.
class ExactQuotient {
 public:
  explicit ExactQuotient(uint64_t divisor)
      : divisor_(divisor),
        factor_(divisor <= kLargestDivisor ? (uint64_t{1} << 56) / divisor + 1 : 0) {}
  uint8_t operator()(uint64_t n) const {
    return static_cast<uint8_t>(factor_ != 0 ? (n * factor_) >> 56 : n / divisor_);
  }

 private:
  static constexpr uint64_t kLargestDivisor = uint64_t{1} << 24;
  uint64_t divisor_, factor_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_EDGE_EXACT_QUOTIENT_H_
