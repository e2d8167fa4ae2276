#include "entries.h"

namespace operations {
namespace {

using KelvraCV::ImageData;

Image ycbcr(const Image& image, const Arguments& arguments) {
  const Image rgb = to_rgb(image);
  const int plane = arguments.choice("plane") - 1;
  Image result = like(image, 3);
  KelvraCV::rgb_to_ycbcr(rgb.data(), result.data(), rgb.width, rgb.height, rgb.stride(),
                         plane >= 0);
  if (plane < 0) return result;
  Image only = like(image, 1);
  const uint8_t* const first = result.data() + plane * only.pixels.size();
  only.pixels.assign(first, first + only.pixels.size());
  return only;
}

Image from_ycbcr(const Image& image, const Arguments&) {
  const Image in = to_rgb(image);
  Image out = like(image, 3);
  KelvraCV::ycbcr_to_rgb(in.data(), out.data(), in.width, in.height, in.stride(), false);
  return out;
}

Image hsv(const Image& image, const Arguments& arguments) {
  const Image result = like(image, 3);
  ImageData out = view(result);
  KelvraCV::rgba2hsv(view(image.channels == 1 ? to_rgb(image) : image), out);
  const int plane = arguments.choice("plane") - 1;
  return plane < 0 ? result : split(result)[plane];
}

Image from_hsv(const Image& image, const Arguments&) {
  const Image in = to_rgb(image), result = like(image, 3);
  ImageData out = view(result);
  KelvraCV::hsv2rgb(view(in), out);
  return result;
}

Image lab(const Image& image, const Arguments&) {
  Image in = to_rgb(image), out = like(image, 3);
  KelvraCV::rgb_to_lab(in.data(), out.data(), in.width, in.height);
  return out;
}

// The fast functions work with the tables that they make themselves, on the caller's thread.
Image lab_fast(const Image& image, const Arguments&) {
  Image out = like(image, 3);
  if (image.channels == 4) {
    KelvraCV::rgb_to_lab_c4_c3(image.data(), out.data(), image.width, image.height, image.stride(),
                               0, nullptr, nullptr, 1);
  } else {
    const Image in = to_rgb(image);
    KelvraCV::rgb_to_lab_fast(in.data(), out.data(), in.width, in.height, nullptr, nullptr, 1);
  }
  return out;
}

Image from_lab(const Image& image, const Arguments& arguments) {
  const Image in = to_rgb(image);
  if (arguments.on("alpha")) {
    Image out = to_rgba(in);  // whose opaque alpha stays
    KelvraCV::lab_to_rgb_c3_c4(in.data(), out.data(), in.width, in.height, out.stride(), 0, nullptr,
                               nullptr, nullptr, nullptr, 1);
    return out;
  }
  Image out = like(image, 3);
  KelvraCV::lab_to_rgb_fast(in.data(), out.data(), in.width, in.height, nullptr, nullptr, nullptr,
                            nullptr, nullptr, 1);
  return out;
}

Image drop_alpha(const Image& image, const Arguments& arguments) {
  Image in = to_rgba(image), out = like(image, 3);
  KelvraCV::convert_c4_to_c3(in.data(), out.data(), in.width, in.height, in.stride(), out.stride(),
                             arguments.on("swap"));
  return out;
}

Image channel(const Image& image, const Arguments& arguments) {
  const int index = arguments.whole("number") - 1;
  if (index >= image.channels) {
    throw WorkError("channel: the picture has " + std::to_string(image.channels) +
                    " channels; wanted a number up to that");
  }
  return split(image)[index];
}

Image swap_channels(const Image& image, const Arguments& arguments) {
  const std::vector<Image> planes = split(image.channels == 1 ? to_rgb(image) : image);
  std::vector<Image> mixed = planes;
  for (size_t i = 0; i < 3; ++i) {
    mixed[i] = planes[std::string("rgb").find(arguments.text("order")[i])];
  }
  return merge(mixed);
}

}  // namespace

void add_color(std::vector<Operation>& table) {
  const std::string family = "color";
  table.push_back({"gray",
                   family,
                   "Luminance by the BT.601 weights.",
                   {},
                   "colour",
                   "gray",
                   {"rgb2gray", "rgba2gray"},
                   "KelvraCV::rgb2gray(src, dst, width, height, 3 * width, width);",
                   [](const Image& image, const Arguments&) { return to_gray(image); },
                   {},
                   {}});
  table.push_back(
      {"ycbcr",
       family,
       "RGB to YCbCr, BT.601 in studio range.",
       {choice("plane", {"all", "y", "cb", "cr"}, "all", "one plane as a gray picture")},
       "colour",
       "Y, Cb, Cr, or gray",
       {"rgb_to_ycbcr"},
       "KelvraCV::rgb_to_ycbcr(src, dst, width, height, 3 * width, false);",
       ycbcr,
       {},
       {}});
  table.push_back({"from_ycbcr",
                   family,
                   "YCbCr, as ycbcr gives it, back to RGB.",
                   {},
                   "Y, Cb, Cr",
                   "colour",
                   {"ycbcr_to_rgb"},
                   "KelvraCV::ycbcr_to_rgb(src, dst, width, height, 3 * width, false);",
                   from_ycbcr,
                   {},
                   {},
                   "ycbcr"});
  table.push_back({"hsv",
                   family,
                   "RGB to hue, saturation and value.",
                   {choice("plane", {"all", "hue", "saturation", "value"}, "all",
                           "one plane as a gray picture")},
                   "colour",
                   "H, S, V, or gray",
                   {"rgba2hsv"},
                   "KelvraCV::rgba2hsv(src, dst);",
                   hsv,
                   {},
                   {}});
  table.push_back({"from_hsv",
                   family,
                   "Hue, saturation and value, as hsv gives them, back to RGB.",
                   {},
                   "H, S, V",
                   "colour",
                   {"hsv2rgb"},
                   "KelvraCV::hsv2rgb(src, dst);",
                   from_hsv,
                   {},
                   {},
                   "hsv"});
  table.push_back({"lab",
                   family,
                   "sRGB to CIE L*a*b* in single precision.",
                   {},
                   "colour",
                   "L, a, b",
                   {"rgb_to_lab"},
                   "KelvraCV::rgb_to_lab(src, dst, width, height);",
                   lab,
                   {},
                   {}});
  table.push_back({"lab_fast",
                   family,
                   "sRGB to L*a*b* by tables, without the white point's division.",
                   {},
                   "colour",
                   "L, a, b",
                   {"rgb_to_lab_fast", "rgb_to_lab_c4_c3"},
                   "KelvraCV::rgb_to_lab_fast(src, dst, width, height, nullptr, nullptr, 1);",
                   lab_fast,
                   {},
                   {}});
  table.push_back({"from_lab",
                   family,
                   "L*a*b*, as lab_fast gives it, back to sRGB.",
                   {on_off("alpha", false, "give pixels of four bytes, opaque")},
                   "L, a, b",
                   "colour",
                   {"lab_to_rgb_fast", "lab_to_rgb_c3_c4"},
                   "KelvraCV::lab_to_rgb_fast(src, dst, width, height, nullptr, nullptr, nullptr, "
                   "nullptr, nullptr, 1);",
                   from_lab,
                   {},
                   {},
                   "lab_fast"});
  table.push_back({"drop_alpha",
                   family,
                   "Drops the fourth channel, without blending.",
                   {on_off("swap", false, "exchange red and blue")},
                   "colour with alpha",
                   "colour",
                   {"convert_c4_to_c3"},
                   "KelvraCV::convert_c4_to_c3(src, dst, width, height, 4 * width, 3 * width, "
                   "{swap});",
                   drop_alpha,
                   {},
                   {}});
  table.push_back({"channel",
                   family,
                   "One channel as a gray picture.",
                   {whole("number", 1, 4, 1, "which: 1 red, 2 green, 3 blue, 4 alpha")},
                   "any",
                   "gray",
                   {"split_channels"},
                   "KelvraCV::split_channels(src, planes);",
                   channel,
                   {},
                   {}});
  table.push_back({"swap_channels",
                   family,
                   "Red, green and blue in another order.",
                   {choice("order", {"bgr", "rbg", "grb", "gbr", "brg", "rgb"}, "bgr",
                           "what becomes red, green and blue")},
                   "colour",
                   "same",
                   {"merge_channels"},
                   "KelvraCV::merge_channels(planes, dst);",
                   swap_channels,
                   {},
                   {}});
}

}  // namespace operations
