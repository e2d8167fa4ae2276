// A picture from file to file: decoded, worked on, encoded, with its metadata.
#ifndef KELVRA_CV_TOOLS_KELVRA_TRANSFER_H_
#define KELVRA_CV_TOOLS_KELVRA_TRANSFER_H_

#include <optional>
#include <string>

#include "picture_file.h"

namespace kelvra {

// A raw camera frame's layout: "nv21:1920x1080".
struct FrameShape {
  std::string layout;
  int width, height;
};
// Throws operations::UsageError.
FrameShape parse_frame(const std::string& text);

struct Source {
  Image image;  // upright
  Metadata metadata;
  std::optional<Format> format;  // none for frames
};
// Throws FileError, with the path in front.
Source load(const std::string& path, const std::optional<FrameShape>& frame = std::nullopt,
            int draft_size = 0);

// What a name says about the format; `given` is "", "png" or "jpeg" and comes first. Throws
// operations::UsageError if neither says it; standard output is PNG.
Format format_for(const std::string& path, const std::string& given);

// Writes a picture that was made from `origin` with the origin's profile and Exif.
void save(const Image& image, const std::string& path, const Encoding& encoding,
          const Source& origin, const std::string& origin_path);

}  // namespace kelvra

#endif  // KELVRA_CV_TOOLS_KELVRA_TRANSFER_H_
