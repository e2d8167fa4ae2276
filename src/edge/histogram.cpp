// Histograms of a rectangle's channels.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/rows.h"
#include "edge/byte_counts.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Value v goes into bin v / bins, truncated: a bin is a value over the number of bins, on purpose.
// With 0 bins that is bin 0 for all; bins below 0, from a negative number, are dropped.
void fold(const uint32_t* counts, int bins, int* hist) {
  const int values_per_bin = bins == 0 || bins < -256 ? 256 : std::abs(bins);
  for_each_value(std::min(values_per_bin, 256), [=](int value, int bin) {
    if (counts[value] == 0 || (bins < 0 && bin > 0)) return;
    hist[bin] = static_cast<int>(static_cast<uint32_t>(hist[bin]) + counts[value]);
  });
}

}  // namespace

void cal_hist(const unsigned char* src, int stride, int channels, int width, int height, int x,
              int y, int** hists, int* bins) {
  if (width < 1 || height < 1) return;
  for (int c = 0; c < channels; ++c) {
    if (bins[c] > 0) std::memset(hists[c], 0, sizeof(int) * static_cast<size_t>(bins[c]));
  }
  const uint8_t* first = row_at(src, y, stride) + static_cast<ptrdiff_t>(x) * channels;
  const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
  constexpr int kTogether = 4;  // channels of one walk over the rows
  for (int done = 0; done < channels; done += kTogether) {
    const int end = std::min(channels, done + kTogether);
    ByteCounts counts[kTogether] = {pixels, pixels, pixels, pixels};
    for (int row = 0; row < height; ++row) {
      const uint8_t* samples = row_at(first, row, stride);
      for (int c = done; c < end; ++c) {
        counts[c - done].add(samples + c, static_cast<size_t>(width),
                             static_cast<size_t>(channels));
      }
    }
    for (int c = done; c < end; ++c) fold(counts[c - done].total(), bins[c], hists[c]);
  }
}

}  // namespace KelvraCV
