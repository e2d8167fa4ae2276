#include "entries.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace operations {

const std::vector<Operation>& table() {
  static const std::vector<Operation> all = [] {
    std::vector<Operation> entries;
    for (const auto add :
         {add_color, add_filter, add_edge, add_geometry, add_shape, add_detect, add_frame}) {
      add(entries);
    }
    return entries;
  }();
  return all;
}

Parameter whole(std::string name, int min, int max, int standard, std::string meaning) {
  return {
      std::move(name),          Type::kWhole, static_cast<double>(min), static_cast<double>(max),
      std::to_string(standard), {},           std::move(meaning)};
}

Parameter number(std::string name, double min, double max, std::string standard,
                 std::string meaning) {
  return {std::move(name), Type::kNumber, min, max, std::move(standard), {}, std::move(meaning)};
}

Parameter on_off(std::string name, bool standard, std::string meaning) {
  return {std::move(name), Type::kSwitch, 0, 1, standard ? "on" : "off", {}, std::move(meaning)};
}

Parameter choice(std::string name, std::vector<std::string> choices, std::string standard,
                 std::string meaning) {
  const auto last = static_cast<double>(choices.size() - 1);
  return {std::move(name),    Type::kChoice,     0, last, std::move(standard),
          std::move(choices), std::move(meaning)};
}

Parameter size(std::string name, std::string standard, std::string meaning) {
  return {std::move(name), Type::kSize, 1, kMaxSide, std::move(standard), {}, std::move(meaning)};
}

Parameter mask_level() {
  return whole("level", 0, 254, 127, "brighter pixels are the foreground");
}

size_t& pixel_limit() {
  static thread_local size_t limit = kMaxPixels;
  return limit;
}

void check_size(const std::string& operation, double width, double height) {
  if (width > kMaxSide || height > kMaxSide ||
      width * height > static_cast<double>(pixel_limit())) {
    throw WorkError(operation + ": " + std::to_string(static_cast<long long>(width)) + "x" +
                    std::to_string(static_cast<long long>(height)) +
                    " is too large; wanted sides up to " + std::to_string(kMaxSide) +
                    " and up to " + std::to_string(pixel_limit() / 1000000) + " megapixels");
  }
}

void check_least(const std::string& operation, const Image& image, int least) {
  if (std::min(image.width, image.height) < least) {
    throw WorkError(operation + ": the picture is " + std::to_string(image.width) + "x" +
                    std::to_string(image.height) + "; wanted sides of at least " +
                    std::to_string(least) + " pixels for these values");
  }
}

Size size_for(const std::string& text, const Image& image) {
  double first = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, first);
  double width = first, height = 0;
  if (error == std::errc() && rest != end && *rest == 'x') {
    std::from_chars(rest + 1, end, height);
  } else {
    const double longer = std::max(image.width, image.height);
    const double scale = rest != end ? first / 100 : first / longer;
    width = std::max(1.0, std::floor(image.width * scale + 0.5));
    height = std::max(1.0, std::floor(image.height * scale + 0.5));
  }
  check_size("the size " + text, width, height);
  return {static_cast<int>(width), static_cast<int>(height)};
}

int percent_of(float percent, int side) {
  return std::clamp(static_cast<int>(percent / 100 * static_cast<float>(side)), 0, side - 1);
}

KelvraCV::ImageData view(const Image& image) {
  return {const_cast<uint8_t*>(image.data()),
          image.width,
          image.height,
          image.channels,
          image.stride(),
          0,
          0};
}

Image like(const Image& image, int channels) {
  return {image.width, image.height, channels};
}

Image to_gray(const Image& image) {
  if (image.channels == 1) return image;
  Image gray = like(image, 1);
  if (image.channels == 3) {
    KelvraCV::rgb2gray(image.data(), gray.data(), image.width, image.height, image.stride(),
                       gray.stride());
  } else {
    KelvraCV::rgba2gray(image.data(), gray.data(), image.width, image.height, image.stride(),
                        gray.stride(), 0);
  }
  return gray;
}

Image to_rgb(const Image& image) {
  if (image.channels == 3) return image;
  if (image.channels == 1) return merge({image, image, image});
  Image rgb = like(image, 3);
  KelvraCV::convert_c4_to_c3(view(image).data, rgb.data(), image.width, image.height,
                             image.stride(), rgb.stride(), 0);
  return rgb;
}

Image to_rgba(const Image& image) {
  if (image.channels == 4) return image;
  Image rgba = like(image, 4);
  const size_t count = static_cast<size_t>(image.width) * image.height;
  const size_t green = image.channels / 2, blue = image.channels - 1;
  const uint8_t* in = image.data();
  uint8_t* out = rgba.data();
  for (size_t i = 0; i < count; ++i, in += image.channels, out += 4) {
    out[0] = in[0], out[1] = in[green], out[2] = in[blue], out[3] = 255;
  }
  return rgba;
}

Image from_rgba(const Image& rgba, int channels) {
  return channels == 4 ? rgba : channels == 3 ? to_rgb(rgba) : to_gray(rgba);
}

Image to_mask(const Image& image, int level) {
  Image mask = to_gray(image);
  KelvraCV::threshold(mask.data(), mask.data(), mask.width, mask.height, level, 255);
  return mask;
}

std::vector<Image> split(const Image& image) {
  std::vector<Image> planes(image.channels, like(image, 1));
  std::vector<KelvraCV::ImageData> records;
  for (const Image& plane : planes) records.push_back(view(plane));
  KelvraCV::split_channels(view(image), records);
  return planes;
}

Image merge(const std::vector<Image>& planes) {
  Image image = like(planes[0], static_cast<int>(planes.size()));
  std::vector<KelvraCV::ImageData> records;
  for (const Image& plane : planes) records.push_back(view(plane));
  KelvraCV::ImageData record = view(image);
  KelvraCV::merge_channels(records, record);
  return image;
}

Image by_channel(const Image& image, const PlaneFunction& plane) {
  if (image.channels == 1) return on_gray(image, plane);
  std::vector<Image> planes = split(image);
  Image result = like(image, 1);
  for (size_t i = 0; i < 3; ++i) {
    plane(planes[i].data(), result.data(), image.width, image.height);
    std::swap(planes[i].pixels, result.pixels);
  }
  return merge(planes);
}

Image on_gray(const Image& image, const PlaneFunction& plane) {
  const Image gray = to_gray(image);
  Image result = like(image, 1);
  plane(gray.data(), result.data(), image.width, image.height);
  return result;
}

void draw_dot(Image& rgb, int x, int y, int reach, Color color) {
  const int left = std::max(x - reach, 0), right = std::min(x + reach, rgb.width - 1);
  const int top = std::max(y - reach, 0), bottom = std::min(y + reach, rgb.height - 1);
  for (int row = top; row <= bottom; ++row) {
    for (int column = left; column <= right; ++column) {
      std::memcpy(rgb.at(column, row), &color, 3);
    }
  }
}

void draw_box(Image& rgb, int left, int top, int right, int bottom, Color color) {
  const int reach = pen(rgb);
  for (int x = left; x <= right; ++x) {
    draw_dot(rgb, x, top, reach, color), draw_dot(rgb, x, bottom, reach, color);
  }
  for (int y = top; y <= bottom; ++y) {
    draw_dot(rgb, left, y, reach, color), draw_dot(rgb, right, y, reach, color);
  }
}

int pen(const Image& image) {
  return std::max(image.width, image.height) / 900;
}

}  // namespace operations
