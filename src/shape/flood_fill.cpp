// Filling a region of similar colour. Rows are bits, 64 pixels in a word: what is open to the fill,
// and what is filled. A row that gained pixels waits once, however many it gained, to pass them on
// to the rows above and below, so that the waiting rows never outnumber the image's.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"
#include "kelvra_cv.h"
#include "shape/row_bits.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr int kChannels = 4;

// Of 64 pixels, those that differ from the seed by at most `threshold` in each of the first three
// channels.
uint64_t similar_bits(const uint8_t* pixels, const uint8_t* seed, uint8_t threshold) {
  const Full<uint8_t> d;
  return mask_bits64([&](size_t x) {
    hn::Vec<decltype(d)> channels[kChannels];
    load_pixels<kChannels>(d, pixels + x * kChannels, channels);
    auto excess = hn::Zero(d);
    for (int c = 0; c < 3; ++c) {
      const auto center = hn::Set(d, seed[c]), value = channels[c];
      const auto difference = hn::Max(value, center) - hn::Min(value, center);
      excess = hn::Or(excess, hn::SaturatedSub(difference, hn::Set(d, threshold)));
    }
    return excess == hn::Zero(d);
  });
}

// Extends bits of `reached` down to the lowest bit of their runs in `open`.
uint64_t spread_down(uint64_t reached, uint64_t open) {
  for (int shift = 1; shift < kWordBits; shift *= 2) {
    reached |= open & (reached >> shift);
    open &= open >> shift;
  }
  return reached;
}

// The bits as bytes of 0 and 255. Each of the eight bytes of `spread` keeps one bit of the eight.
void store_as_bytes(uint64_t bits, uint8_t* bytes, int count) {
  uint8_t all[kWordBits];
  for (int i = 0; i < 8; ++i) {
    const uint64_t spread = (bits >> (8 * i) & 255) * 0x0101010101010101 & 0x8040201008040201;
    const uint64_t nonzero = (spread + 0x7F7F7F7F7F7F7F7F) >> 7 & 0x0101010101010101;
    const uint64_t eight = nonzero * 255;
    std::memcpy(all + 8 * i, &eight, sizeof eight);
  }
  std::memcpy(bytes, all, static_cast<size_t>(count));
}

class Flood {
 public:
  Flood(const ImageData& image, const Point& seed, int max_distance, int threshold)
      : image_(image),
        seed_(seed),
        max_distance_(max_distance),
        threshold_(static_cast<uint8_t>(threshold)),
        words_(words_for(image.width)),
        open_(image.height, words_),
        filled_(image.height, words_),
        reached_(words_),
        rows_(static_cast<size_t>(image.height)) {
    std::memcpy(color_, row_at(image.data, seed.y, image.stride) + seed.x * ptrdiff_t{kChannels},
                kChannels);
    waiting_.reserve(rows_.size());
  }

  void run() {
    const size_t word = static_cast<size_t>(seed_.x) / kWordBits;
    std::vector<uint64_t> start(words_);
    start[word] = uint64_t{1} << seed_.x % kWordBits;
    enter(seed_.y, start.data(), word, word);
    while (!waiting_.empty()) {
      const int y = waiting_.back();
      waiting_.pop_back();
      Row& row = rows_[y];
      row.waits = false;
      const size_t low = row.low, high = row.high;
      if (y > 0) enter(y - 1, filled(y), low, high);
      if (y + 1 < image_.height) enter(y + 1, filled(y), low, high);
    }
  }

  // Writes the mask and the bounding box, and returns the number of filled pixels.
  int64_t store(ImageData& mask, Rect& rect) {
    int left = INT_MAX, right = -1, top = -1, bottom = -1;
    int64_t count = 0;
    for (int y = 0; y < image_.height; ++y) {
      uint8_t* out = row_at(mask.data, y, mask.stride);
      if (!rows_[y].is_ready) {
        std::memset(out, 0, static_cast<size_t>(image_.width));
        continue;
      }
      for (size_t i = 0; i < words_; ++i) {
        const int x = static_cast<int>(i) * kWordBits;
        const uint64_t bits = filled(y)[i];
        store_as_bytes(bits, out + x, std::min(image_.width - x, kWordBits));
        if (bits == 0) continue;
        count += __builtin_popcountll(bits);
        left = std::min(left, x + first_bit(bits));
        right = std::max(right, x + last_bit(bits));
        if (top < 0) top = y;
        bottom = y;
      }
    }
    rect = {left, top, right - left + 1, bottom - top + 1};
    return count;
  }

 private:
  struct Row {
    bool is_ready = false;  // its bits are set up
    bool waits = false;     // it has pixels to pass on, all of them in the words low .. high
    size_t low = 0, high = 0;
  };

  uint64_t* open(int y) { return open_.get() + y * words_; }
  uint64_t* filled(int y) { return filled_.get() + y * words_; }

  bool is_near(double dx, double dy) const { return std::sqrt(dx * dx + dy * dy) <= max_distance_; }

  // The greatest column distance from the seed that is near in row y, at most the image's width;
  // -1 if there is none.
  int columns_near(int y) const {
    const double dy = static_cast<double>(y) - seed_.y, radius = max_distance_;
    if (!is_near(0, dy)) return -1;
    const double estimate = std::sqrt(std::max(radius * radius - dy * dy, 0.0));
    int dx = static_cast<int>(std::min<double>(estimate, image_.width));
    while (!is_near(dx, dy)) --dx;
    while (dx < image_.width && is_near(dx + 1.0, dy)) ++dx;
    return dx;
  }

  // Finds out, when a row is first entered, what in it is open to the fill.
  void make_ready(int y) {
    rows_[y].is_ready = true;
    std::fill_n(open(y), words_, uint64_t{0});
    std::fill_n(filled(y), words_, uint64_t{0});
    const int reach = columns_near(y);
    if (reach < 0) return;
    const int first = std::max(seed_.x - reach, 0);
    const int last =
        static_cast<int>(std::min<int64_t>(int64_t{seed_.x} + reach, image_.width - 1));
    const uint8_t* row = row_at<const uint8_t>(image_.data, y, image_.stride);
    for (int i = first / kWordBits; i <= last / kWordBits; ++i) {
      const int x = i * kWordBits;
      open(y)[i] = similar(row + x * ptrdiff_t{kChannels}, std::min(image_.width - x, kWordBits)) &
                   low_bits(std::min(last + 1 - x, kWordBits));
      if (first > x) open(y)[i] &= ~low_bits(first - x);
    }
  }

  uint64_t similar(const uint8_t* pixels, int count) const {
    if (count >= kWordBits) return similar_bits(pixels, color_, threshold_);
    uint8_t padded[kWordBits * kChannels] = {};
    std::memcpy(padded, pixels, static_cast<size_t>(count) * kChannels);
    return similar_bits(padded, color_, threshold_) & low_bits(count);
  }

  // Fills what is open in row y beside the bits of `from`, which are in the words low .. high, and
  // everything in the row that is connected to it.
  void enter(int y, const uint64_t* from, size_t low, size_t high) {
    Row& row = rows_[y];
    if (!row.is_ready) make_ready(y);
    uint64_t *const open_bits = open(y), *const filled_bits = filled(y);
    // To the right: a seed added to its run of ones turns the run's rest to zeros and carries on.
    uint64_t carry = 0;
    size_t end = low;
    for (; end < words_ && (end <= high || carry != 0); ++end) {
      const uint64_t seeds = ((end <= high ? from[end] : 0) | carry) & open_bits[end];
      const uint64_t sum = open_bits[end] + seeds;
      carry = sum < seeds;
      reached_[end] = (open_bits[end] & ~sum) | seeds;
    }
    carry = 0;
    for (size_t i = end; i-- > 0 && (i >= low || carry != 0);) {
      uint64_t reached = (i >= low ? reached_[i] : 0) | (carry & open_bits[i]);
      carry = 0;
      if (reached == 0) continue;
      if (reached != open_bits[i]) reached = spread_down(reached, open_bits[i]);
      open_bits[i] &= ~reached;
      filled_bits[i] |= reached;
      carry = reached << (kWordBits - 1);
      wait(row, y, i);
    }
  }

  void wait(Row& row, int y, size_t word) {
    if (!row.waits) {
      row = {true, true, word, word};
      waiting_.push_back(y);
    }
    row.low = std::min(row.low, word);
    row.high = std::max(row.high, word);
  }

  const ImageData& image_;
  const Point seed_;
  const double max_distance_;
  const uint8_t threshold_;
  const size_t words_;
  uint8_t color_[kChannels];
  Scratch<uint64_t> open_, filled_, reached_;
  std::vector<Row> rows_;
  std::vector<int> waiting_;
};

}  // namespace

int flood_fill(const ImageData& image, ImageData& mask, const Point& seed, Rect& rect,
               int max_distance, int threshold) {
  if (image.width < 1 || image.height < 1) return 0;
  if (image.channels != kChannels) {
    log_print("input channels must be 4!\n");
    return 0;
  }
  if (mask.width != image.width || mask.height != image.height || mask.channels != 1) {
    log_print("mask size must be same as image, mask channel must be one!\n");
    return 0;
  }
  if (seed.x < 0 || seed.x >= image.width || seed.y < 0 || seed.y >= image.height) {
    log_print("seed point must be between (0,0) and (width-1, height-1)!\n");
    return 0;
  }
  if (threshold < 0 || threshold > 255) {
    log_print("threshold must be between 0 and 255!\n");
    return 0;
  }
  Flood flood(image, seed, max_distance < 1 ? INT_MAX : max_distance, threshold);
  flood.run();
  return static_cast<int>(std::min<int64_t>(flood.store(mask, rect), INT_MAX));
}

}  // namespace KelvraCV
