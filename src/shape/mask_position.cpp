// The bounding box of the pixels of a mask that hold one value.
#include <algorithm>
#include <cstring>

#include "core/rows.h"
#include "kelvra_cv.h"
#include "shape/row_bits.h"

namespace KelvraCV {
namespace {

using namespace detail;

// The first index below `count` whose byte is `wanted`, else `count`.
int find_first(const uint8_t* bytes, int count, uint8_t wanted) {
  const void* found = std::memchr(bytes, wanted, static_cast<size_t>(count));
  return found == nullptr ? count : static_cast<int>(static_cast<const uint8_t*>(found) - bytes);
}

// The last index at or above `from` and below `count` whose byte is `wanted`, else from - 1.
int find_last(const uint8_t* bytes, int from, int count, uint8_t wanted) {
  for (int end = count; end > from; end -= kWordBits) {
    // A whole word, even if it begins left of `from`, wherever the row has one.
    const int start = end >= kWordBits ? end - kWordBits : from;
    const uint64_t found = bits_equal(bytes + start, end - start, wanted);
    if (found != 0) return std::max(start + last_bit(found), from - 1);
  }
  return from - 1;
}

}  // namespace

void get_mask_pos(const ImageData& mask, int& left, int& top, int& right, int& bottom, int mode) {
  const uint8_t wanted = mode == 1 ? 0 : 255;
  const int width = mask.width, height = width < 1 ? 0 : mask.height;
  const auto row = [&](int y) { return row_at<const uint8_t>(mask.data, y, mask.stride); };
  const auto row_has_one = [&](int y) { return find_first(row(y), width, wanted) < width; };

  int first_row = 0, last_row = height - 1;
  while (first_row <= last_row && !row_has_one(first_row)) ++first_row;
  if (first_row > last_row) {
    left = top = right = bottom = -1;
    return;
  }
  while (!row_has_one(last_row)) --last_row;

  // Between them only the columns outside of the box so far can widen it.
  int first_column = width, last_column = -1;
  for (int y = first_row; y <= last_row; ++y) {
    first_column = find_first(row(y), first_column, wanted);
    last_column = find_last(row(y), last_column + 1, width, wanted);
  }
  left = first_column;
  top = first_row;
  right = last_column;
  bottom = last_row;
}

}  // namespace KelvraCV
