// Luminance of interleaved colour: one byte from each pixel of three or four.
#include "core/simd_pixels.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// 0.299, 0.587 and 0.114 in 16-bit fixed point. They sum to 65536, so white stays 255.
constexpr int kRedWeight = 19595, kGreenWeight = 38469, kBlueWeight = 7472;

// (19595 R + 38469 G + 7472 B) >> 16, in the order of a pixel's bytes. Four times that sum is
// 3919 (20 R + 37 G) + 467 (19 G + 64 B).
template <class Pixel>
struct Gray : WeightedSum<Pixel::kRed == 0 ? kRedWeight : kBlueWeight, kGreenWeight,
                          Pixel::kRed == 0 ? kBlueWeight : kRedWeight, 0, 16> {
  static constexpr Factors kFactors = Pixel::kRed == 0
                                          ? Factors{{3919, 467}, {{20, 37}, {19, 64}}, 2}
                                          : Factors{{467, 3919}, {{64, 19}, {37, 20}}, 2};
};

template <class Pixel>
void gray_rows(const uint8_t* src, uint8_t* dst, int width, int height, int src_stride,
               int dst_stride) {
  using Source = Interleaved<Pixel::kChannels, const uint8_t>;
  convert_rows<kPaired>(Source{{src}}, src_stride, Interleaved<1>{{dst}}, dst_stride, width, height,
                        [](auto from) KELVRA_CV_INLINE {
                          return Pixels<1>{{weighted_sum<Gray<Pixel>>(load_terms(from))}};
                        });
}

}  // namespace

void rgb2gray(const unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
              int dst_stride) {
  gray_rows<Rgb>(src, dst, width, height, src_stride, dst_stride);
}

void rgba2gray(const unsigned char* src, unsigned char* dst, int width, int height, int src_stride,
               int dst_stride, int bgra) {
  const auto rows = bgra == 0 ? gray_rows<Rgba> : gray_rows<Bgra>;
  rows(src, dst, width, height, src_stride, dst_stride);
}

}  // namespace KelvraCV
