// Uses the library; prints its version and a sum over results that depend on how it was compiled.
#include <kelvra_cv.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr int kWidth = 61, kHeight = 43;
using Bytes = std::vector<unsigned char>;

unsigned sum_of(const Bytes& bytes) {
  unsigned sum = 2166136261u;
  for (const unsigned char byte : bytes) sum = (sum ^ byte) * 16777619u;
  return sum;
}

}  // namespace

int main() {
  Bytes rgb(3 * kWidth * kHeight), lab(rgb.size()), gray(kWidth * kHeight), smooth(gray.size());
  unsigned state = 1;
  for (unsigned char& byte : rgb)
    byte = static_cast<unsigned char>((state = state * 69069 + 5) >> 24);
  KelvraCV::rgb2gray(rgb.data(), gray.data(), kWidth, kHeight, 3 * kWidth, kWidth);
  KelvraCV::gaussian_blur(gray.data(), smooth.data(), kWidth, kHeight, 7, 1.7f);
  KelvraCV::rgb_to_lab(rgb.data(), lab.data(), kWidth, kHeight);
  std::printf("%s %08x %08x %08x\n", KelvraCV::get_version(), sum_of(gray), sum_of(smooth),
              sum_of(lab));
#ifdef USE_FRAMES
  const Bytes chroma(kWidth * kHeight, 128);
  Bytes bgra(4 * kWidth * kHeight);
  KelvraCV::convert_nv21_argb(gray.data(), kWidth, chroma.data(), kWidth + 1, bgra.data(),
                              4 * kWidth, kWidth, kHeight, false);
  if (bgra[3] != 255) return 1;
#endif
#ifdef USE_CONTOURS
  Bytes mask(gray.size(), 255);
  std::vector<std::vector<KelvraCV::Point>> outlines;
  KelvraCV::find_blob_contours(mask.data(), outlines, kWidth, kHeight, kWidth, 0, 2);
  if (outlines.size() != 1) return 1;
#endif
  return std::strcmp(KelvraCV::get_version(), "v1.6.3");
}
