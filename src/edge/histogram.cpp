// Histograms of a rectangle's channels.
#include <cstring>

#include "core/rows.h"
#include "edge/byte_counts.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Value v goes into bin v / bins: a bin is a value over the number of bins, on purpose. Bins below
// 0, from a negative number of bins, are dropped.
void fold(const uint32_t* counts, int bins, int* hist) {
  for (int value = 0; value < 256; ++value) {
    const int bin = bins == 0 ? 0 : value / bins;
    if (counts[value] != 0 && bin >= 0) {
      hist[bin] = static_cast<int>(static_cast<uint32_t>(hist[bin]) + counts[value]);
    }
  }
}

}  // namespace

void cal_hist(const unsigned char* src, int stride, int channels, int width, int height, int x,
              int y, int** hists, int* bins) {
  if (width < 1 || height < 1) return;
  for (int c = 0; c < channels; ++c) {
    if (bins[c] > 0) std::memset(hists[c], 0, sizeof(int) * static_cast<size_t>(bins[c]));
  }
  const uint8_t* first = row_at(src, y, stride) + static_cast<ptrdiff_t>(x) * channels;
  for (int c = 0; c < channels; ++c) {
    ByteCounts counts;
    for (int row = 0; row < height; ++row) {
      counts.add(row_at(first, row, stride) + c, static_cast<size_t>(width),
                 static_cast<size_t>(channels));
    }
    fold(counts.total(), bins[c], hists[c]);
  }
}

}  // namespace KelvraCV
