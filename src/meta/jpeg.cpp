// The colour profile of a JPEG file, carried into another one.
//
// A JPEG file is the marker FF D8 and segments: a marker (FF and a code), a big-endian 16-bit
// length L that counts itself and the payload, and L - 2 bytes of payload; then image data.
#include <algorithm>

#include "kelvra_cv.h"
#include "meta/bytes.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr char kStart[] = "\xff\xd8";
constexpr uint8_t kMarker = 0xff, kEndCode = 0xd9, kProfileCode = 0xe2;
constexpr char kProfileName[] = "ICC_PROFILE\0";  // in APP2, with its zero

// The first profile segment before the image data, marker included, or nothing. A profile that is
// split over several segments counts with its first.
Bytes find_profile(Bytes jpeg) {
  size_t at = 2;
  while (jpeg.has(at, 4) && jpeg.data[at] == kMarker && jpeg.data[at + 1] != kEndCode) {
    const size_t size = 2 + jpeg.big_endian(at + 2, 2);
    if (!jpeg.has(at, size)) break;
    if (jpeg.data[at + 1] == kProfileCode && size >= 16 && jpeg.has_text(at + 4, kProfileName)) {
      return jpeg.part(at, size);
    }
    at += size;
  }
  return {};
}

// Where a profile goes in a file without one: after the first segment. Its length's two bytes are
// read as signed, which measures it 256 bytes short if the low byte is 128 or more; only where
// that leaves less than the two bytes themselves is the length taken as it stands.
size_t insertion_of(Bytes jpeg) {
  if (!jpeg.has(0, 6)) return jpeg.size;
  const auto signed_byte = [&](size_t at) {
    return jpeg.data[at] - (jpeg.data[at] < 128 ? 0 : 256);
  };
  int length = signed_byte(4) * 256 + signed_byte(5);
  if (length < 2) length = static_cast<int>(jpeg.big_endian(4, 2));
  return std::min(jpeg.size, static_cast<size_t>(4 + std::max(length, 2)));
}

}  // namespace

int add_jpeg_info(const char* origin_path, const char* input_path, const char* output_path) {
  const auto splice = [](const Bytes(&sources)[2]) -> Contents {
    const auto& [origin, input] = sources;
    const Bytes added = find_profile(origin), replaced = find_profile(input);
    if (added.size == 0) return {{input}};
    const size_t at = replaced.size == 0 ? insertion_of(input) : replaced.data - input.data;
    // The file has room for both profiles: where one replaces the other, zeros follow the image.
    return {{input.up_to(at), added, input.from(at + replaced.size)}, replaced.size};
  };
  return transfer({{origin_path, "origin jpeg path error\n", "origin jpeg is not jpeg format!\n"},
                   {input_path, "input jpeg path error\n", "jpeg in is not jpeg format!\n"}},
                  {output_path, "output jpeg path error\n"}, kStart, splice);
}

}  // namespace KelvraCV
