// Box blur, and the Gaussian blurs made of three box blurs.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <type_traits>
#include <vector>

#include "core/row_ring.h"
#include "core/rows.h"
#include "core/simd_pixels.h"
#include "filter/box_mean.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Widths of three box blurs that together come near a Gaussian of that sigma (P. Kovesi, "Fast
// almost-Gaussian filtering", 2010). They serve as radii, and so blur twice as wide: on purpose.
std::vector<int> box_widths(float sigma) {
  const float ideal = std::sqrt(12 * sigma * sigma / 3 + 1);
  // Wider than any image's shorter side: no box blurs. So is NaN.
  constexpr int kWidest = 1 << 20;
  if (!(ideal < kWidest)) return std::vector<int>(3, kWidest);
  int lower = static_cast<int>(ideal);
  if (lower % 2 == 0) --lower;
  const auto square = static_cast<float>(3 * static_cast<int64_t>(lower) * lower);
  const float ideal_count = (12 * sigma * sigma - square - static_cast<float>(4 * 3 * lower) - 9) /
                            static_cast<float>(-4 * lower - 4);
  const int count = static_cast<int>(std::round(ideal_count));
  std::vector<int> widths(3, lower + 2);
  std::fill_n(widths.begin(), std::clamp(count, 0, 3), lower);
  return widths;
}

// Box blurs one after the other, of one plane a row at a time.
template <class RowSum, class Sum>
struct BoxChain {
  BoxChain(int width, int height, const std::vector<int>& radii) {
    boxes.reserve(radii.size());
    for (const int radius : radii) boxes.emplace_back(width, height, radius);
  }
  // As BoxMean::push().
  const uint8_t* push(const uint8_t* row) {
    for (auto& box : boxes) row = row == nullptr ? nullptr : box.push(row);
    return row;
  }
  std::vector<BoxMean<uint8_t, RowSum, Sum>> boxes;
};

// Calls blur(new_chain), whose argument makes a chain with sums that the largest radius fits.
template <class Blur>
void with_chains(int width, int height, const std::vector<int>& radii, const Blur& blur) {
  int largest = 0;
  for (const int radius : radii) {
    if (window_fits(width, height, radius)) largest = std::max(largest, radius);
  }
  // The largest windows whose sums fit: 257 x 255 < 2^16 and 2901^2 x 255 < 2^31.
  if (largest <= 128) {
    blur([&] { return BoxChain<uint16_t, int32_t>(width, height, radii); });
  } else if (largest <= 1450) {
    blur([&] { return BoxChain<int32_t, int32_t>(width, height, radii); });
  } else {
    blur([&] { return BoxChain<int32_t, int64_t>(width, height, radii); });
  }
}

// A row is written after the last window that holds it was read, so dst may be src.
void blur_plane(const uint8_t* src, uint8_t* dst, int width, int height,
                const std::vector<int>& radii) {
  with_chains(width, height, radii, [=](const auto& new_chain) {
    auto chain = new_chain();
    for (int y = 0, done = 0; done < height; ++y) {
      const uint8_t* row = chain.push(row_at(src, std::min(y, height - 1), width));
      if (row != nullptr) std::memmove(row_at(dst, done++, width), row, width);
    }
  });
}

// The first three of four channels, each as a plane of its own.
void blur_colours(const uint8_t* src, uint8_t* dst, int width, int height,
                  const std::vector<int>& radii) {
  with_chains(width, height, radii, [=](const auto& new_chain) {
    decltype(new_chain()) chains[3] = {new_chain(), new_chain(), new_chain()};
    RowRing<uint8_t> split(4, width);
    const Planar<4> planes{{split[0], split[1], split[2], split[3]}};
    const auto pixels_of = [=](auto* image, int y) {
      using Byte = std::remove_pointer_t<decltype(image)>;
      return Interleaved<4, Byte>{{image + 4 * static_cast<size_t>(width) * y}};
    };
    for (int y = 0, done = 0; done < height; ++y) {
      convert_row(pixels_of(src, std::min(y, height - 1)), planes, width, CopyChannels());
      const uint8_t* rows[3];
      for (int c = 0; c < 3; ++c) rows[c] = chains[c].push(split[c]);
      if (rows[0] == nullptr) continue;
      // With the fourth channel of the row that is finished.
      convert_row(pixels_of(src, done), planes, width, CopyChannels());
      convert_row(Planar<4, const uint8_t>{{rows[0], rows[1], rows[2], split[3]}},
                  pixels_of(dst, done++), width, CopyChannels());
    }
  });
}

// Whether there was the memory for it; prints a message if not.
template <class Blur>
bool blurs(const Blur& blur) {
  try {
    blur();
    return true;
  } catch (const std::bad_alloc&) {
    log_print("gaussian_blur_fast memory create error!\n");
    return false;
  }
}

}  // namespace

void filter_box(const unsigned char* src, unsigned char* dst, int width, int height, int radius) {
  if (width < 1 || height < 1) return;
  blur_plane(src, dst, width, height, {radius});
}

int gaussian_blur_fast(const unsigned char* src, unsigned char* dst, int width, int height,
                       float sigma) {
  if (width < 1 || height < 1) return 0;
  return blurs([=] { blur_plane(src, dst, width, height, box_widths(sigma)); }) ? 0 : -1;
}

int gaussian_blur_c4(const unsigned char* src, unsigned char* dst, int width, int height,
                     float sigma) {
  if (width < 1 || height < 1) return 0;
  blurs([=] { blur_colours(src, dst, width, height, box_widths(sigma)); });
  return 0;
}

}  // namespace KelvraCV
