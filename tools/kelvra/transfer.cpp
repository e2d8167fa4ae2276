#include "transfer.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "files.h"

namespace kelvra {

FrameShape parse_frame(const std::string& text) {
  FrameShape shape{text.substr(0, text.find(':')), 0, 0};
  const char* const end = text.data() + text.size();
  const char* const start = text.data() + std::min(shape.layout.size() + 1, text.size());
  const auto [cross, width_error] = std::from_chars(start, end, shape.width);
  if (width_error == std::errc() && cross != end && *cross == 'x') {
    const auto [rest, error] = std::from_chars(cross + 1, end, shape.height);
    if (error == std::errc() && rest == end && shape.width > 0 && shape.height > 0) {
      for (const char* layout : {"i420", "yv12", "nv12", "nv21"}) {
        if (shape.layout == layout) return shape;
      }
    }
  }
  throw operations::UsageError("--frame is \"" + text +
                               "\"; wanted i420, yv12, nv12 or nv21 and a size, such as "
                               "nv21:1920x1080");
}

Source load(const std::string& path, const std::optional<FrameShape>& frame, int draft_size) {
  try {
    const Bytes bytes = read_all(path);
    if (frame) {
      return {operations::frame_picture(frame->layout, frame->width, frame->height, bytes), {}, {}};
    }
    PictureFile file = decode(bytes, draft_size);
    Image image = upright(std::move(file.image), file.metadata.orientation);
    return {std::move(image), std::move(file.metadata), file.format};
  } catch (const std::bad_alloc&) {
    throw FileError(path + ": not enough memory");
  } catch (const std::exception& error) {
    throw FileError((path == "-" ? "standard input" : path) + ": " + error.what());
  }
}

Format format_for(const std::string& path, const std::string& given) {
  std::string ending = given;
  if (given.empty()) {
    if (path == "-") return Format::kPng;
    ending = std::filesystem::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  }
  if (ending == "jpeg" || ending == ".jpg" || ending == ".jpeg") return Format::kJpeg;
  if (ending == "png" || ending == ".png") return Format::kPng;
  throw operations::UsageError("the output is \"" + path +
                               "\"; wanted a name that ends in .jpg or .png, or --format");
}

void save(const Image& image, const std::string& path, const Encoding& encoding,
          const Source& origin, const std::string& origin_path) {
  const Metadata& all = origin.metadata;
  Metadata by_encoder = all;
  // From file to file of one format, the library's own functions carry what is carried unchanged:
  // a profile of this picture's channels, whole in one segment, and a PNG file's Exif.
  const bool same = origin.format == encoding.format && origin_path != "-" && !all.icc.empty();
  const bool fits = same && origin.image.channels != 1 && image.channels != 1 &&
                    (encoding.format == Format::kPng || all.icc_segments == 1);
  if (fits) {
    by_encoder.icc.clear();
    if (encoding.format == Format::kPng && all.orientation == 1) by_encoder.exif.clear();
  }
  NewFile file(path);
  file.write(encode(image, encoding, by_encoder));
  if (fits) {
    const auto carry =
        encoding.format == Format::kPng ? KelvraCV::add_png_info : KelvraCV::add_jpeg_info;
    if (carry(origin_path.c_str(), file.path().c_str(), file.path().c_str()) != 0) {
      throw FileError(path + ": the metadata cannot be carried");
    }
  }
  file.commit();
}

}  // namespace kelvra
