// The transposed cofactors of a perspective matrix: its inverse, but for a common factor.
#ifndef KELVRA_CV_GEOMETRY_ADJUGATE_H_
#define KELVRA_CV_GEOMETRY_ADJUGATE_H_

namespace KelvraCV::detail {

// Each element of `inverse` is exact but for the rounding of one difference. Returns the
// determinant.
inline double adjugate(const float* H, double* inverse) {
  const auto minor = [&](int a, int b, int c, int d) {
    return static_cast<double>(H[a]) * H[d] - static_cast<double>(H[b]) * H[c];
  };
  inverse[0] = minor(4, 5, 7, 8);
  inverse[1] = minor(2, 1, 8, 7);
  inverse[2] = minor(1, 2, 4, 5);
  inverse[3] = minor(5, 3, 8, 6);
  inverse[4] = minor(0, 2, 6, 8);
  inverse[5] = minor(2, 0, 5, 3);
  inverse[6] = minor(3, 4, 6, 7);
  inverse[7] = minor(1, 0, 7, 6);
  inverse[8] = minor(0, 1, 3, 4);
  return H[0] * inverse[0] + H[1] * inverse[3] + H[2] * inverse[6];
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_GEOMETRY_ADJUGATE_H_
