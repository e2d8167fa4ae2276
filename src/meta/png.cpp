// The colour profile and Exif block of PNG files: carried into another file, or stripped.
//
// A PNG file is an 8-byte signature and chunks: a big-endian 32-bit length n, a type of four
// letters, n bytes of data and a 4-byte checksum.
#include <vector>

#include "kelvra_cv.h"
#include "meta/bytes.h"

namespace KelvraCV {
namespace {

using namespace detail;

constexpr char kSignature[] = "\x89PNG\r\n\x1a\n";
constexpr size_t kSignatureSize = 8, kChunkFrame = 12;
// The signature and the header chunk, which comes first: where new chunks go.
constexpr size_t kHeaderEnd = 33;

// The whole chunk that starts at `at`, or nothing where the file ends before the chunk does.
Bytes chunk_at(Bytes png, size_t at) {
  if (!png.has(at, kChunkFrame)) return {};
  const size_t size = kChunkFrame + png.big_endian(at, 4);
  return png.has(at, size) ? png.part(at, size) : Bytes{};
}

struct Metadata {
  Bytes profile{}, exif{};  // whole chunks, the last of each; size 0 if there is none
};

// What stands before the first image data.
Metadata metadata_of(Bytes png) {
  Metadata found;
  Bytes chunk{};
  for (size_t at = kSignatureSize; (chunk = chunk_at(png, at)).size > 0; at += chunk.size) {
    if (chunk.has_text(4, "IDAT") || chunk.has_text(4, "IEND")) break;
    if (chunk.has_text(4, "iCCP")) found.profile = chunk;
    if (chunk.has_text(4, "eXIf")) found.exif = chunk;
  }
  return found;
}

}  // namespace

int add_png_info(const char* origin_path, const char* input_path, const char* output_path) {
  const auto splice = [](const Bytes(&sources)[2]) -> Contents {
    const auto& [origin, input] = sources;
    const Metadata present = metadata_of(input);
    Metadata added = metadata_of(origin);
    if (present.profile.size > 0) added.profile = {};
    if (present.exif.size > 0) added.exif = {};
    const size_t insertion = input.size < kHeaderEnd ? input.size : kHeaderEnd;
    return {{input.up_to(insertion), added.exif, added.profile, input.from(insertion)}};
  };
  return transfer({{origin_path, "origin png path error\n", "origin png is not png format!\n"},
                   {input_path, "input png path error\n", "png in is not png format!\n"}},
                  {output_path, "output png path error\n"}, kSignature, splice);
}

int remove_png_info(const char* input_path, const char* output_path) {
  const auto splice = [](const Bytes(&sources)[1]) {
    const Bytes input = sources[0];
    Contents kept;
    size_t at = kSignatureSize, kept_from = 0;
    bool is_end = false;
    for (Bytes chunk{}; !is_end && (chunk = chunk_at(input, at)).size > 0; at += chunk.size) {
      is_end = chunk.has_text(4, "IEND");
      if (!chunk.has_text(4, "iCCP")) continue;
      kept.pieces.push_back(input.part(kept_from, at - kept_from));
      kept_from = at + chunk.size;
    }
    kept.pieces.push_back(input.part(kept_from, at - kept_from));
    kept.zeros = input.size - at;  // what follows is not copied; the file is as long as if it were
    return kept;
  };
  return transfer({{input_path, "input png path error\n", "origin png is not png format!\n"}},
                  {output_path, "output png path error\n"}, kSignature, splice);
}

}  // namespace KelvraCV
