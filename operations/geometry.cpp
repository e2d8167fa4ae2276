#include <algorithm>
#include <cmath>
#include <cstring>

#include "entries.h"

namespace operations {
namespace {

using KelvraCV::ImageData;
using Resize = void (*)(const unsigned char*, unsigned char*, int, int, int, int, int, int);

// One channel or three at once; of four, each on its own.
Image resize_by(const Image& image, Size size, Resize one, Resize three) {
  if (image.channels == 4) {
    std::vector<Image> planes = split(image);
    for (Image& plane : planes) plane = resize_by(plane, size, one, three);
    return merge(planes);
  }
  Image result(size.width, size.height, image.channels);
  (image.channels == 1 ? one : three)(image.data(), result.data(), image.width, image.height,
                                      image.stride(), size.width, size.height, result.stride());
  return result;
}

Image resize_bilinear(const Image& image, Size size, bool opaque) {
  if (image.channels != 4) {
    return resize_by(image, size, KelvraCV::resize_bilinear_c1, KelvraCV::resize_bilinear_c3);
  }
  const auto function = opaque ? KelvraCV::resize_bilinear_c4_to_c3 : KelvraCV::resize_bilinear_c4;
  Image result(size.width, size.height, opaque ? 3 : 4);
  function(image.data(), result.data(), image.width, image.height, image.stride(), size.width,
           size.height, result.stride(), 0);
  return result;
}

Image resize(const Image& image, const Arguments& arguments) {
  const Size size = size_for(arguments.text("size"), image);
  const bool opaque = arguments.on("opaque");
  const int filter = arguments.choice("filter");
  if (filter == 0) return resize_bilinear(image, size, opaque);
  const Image& in = opaque && image.channels == 4 ? to_rgb(image) : image;
  return filter == 1
             ? resize_by(in, size, KelvraCV::resize_nn_c1, KelvraCV::resize_nn_c3)
             : resize_by(in, size, KelvraCV::resize_bicubic_c1, KelvraCV::resize_bicubic_c3);
}

// Bilinear halving takes the mean of four pixels, so that nothing is skipped.
Image shrink(const Image& image, const Arguments& arguments) {
  const Size wanted = size_for(arguments.text("size"), image);
  if (wanted.width >= image.width || wanted.height >= image.height) return image;
  Image result = image;
  while (result.width >= 2 * wanted.width && result.height >= 2 * wanted.height) {
    result = resize_bilinear(result, {result.width / 2, result.height / 2}, false);
  }
  if (result.width == wanted.width && result.height == wanted.height) return result;
  return resize_bilinear(result, wanted, false);
}

Image scale(const Image& image, const Arguments& arguments) {
  const Size size = size_for(arguments.text("size"), image);
  const Image in = to_rgba(image);
  Image out(size.width, size.height, 4);
  KelvraCV::scale_argb(in.data(), in.stride(), in.width, in.height, out.data(), out.stride(),
                       out.width, out.height, 0, 0, out.width, out.height,
                       static_cast<KelvraCV::ScaleMode>(arguments.choice("filter")));
  return from_rgba(out, image.channels);
}

Image turn(const Image& image, const Arguments& arguments) {
  const int degrees = 90 * arguments.choice("angle");
  const bool across = degrees == 90 || degrees == 270;
  const Image in = to_rgba(image);
  Image out(across ? in.height : in.width, across ? in.width : in.height, 4);
  KelvraCV::rotate_argb(in.data(), in.stride(), out.data(), out.stride(), in.width, in.height,
                        static_cast<KelvraCV::RotationMode>(degrees), arguments.on("flip"));
  return from_rgba(out, image.channels);
}

// The library's crop must not reach the right and lower edges: the picture gets a column and a row
// more.
Image crop(const Image& image, const Arguments& arguments) {
  const Image in = to_rgba(image);
  Image wider(in.width + 1, in.height + 1, 4);
  for (int y = 0; y < in.height; ++y) {
    std::memcpy(wider.at(0, y), const_cast<Image&>(in).at(0, y), in.stride());
  }
  const int left = percent_of(arguments.number("left"), in.width);
  const int top = percent_of(arguments.number("top"), in.height);
  const int width = std::min(percent_of(arguments.number("width"), in.width) + 1, in.width - left);
  const int height =
      std::min(percent_of(arguments.number("height"), in.height) + 1, in.height - top);
  Image out(width, height, 4);
  KelvraCV::crop_argb(wider.data(), wider.stride(), out.data(), out.stride(), wider.width,
                      wider.height, left, top, width, height);
  return from_rgba(out, image.channels);
}

std::vector<Parameter> with_border(std::vector<Parameter> parameters) {
  parameters.push_back(
      choice("border", {"fill", "edge"}, "fill", "what is outside: a gray value or the edge"));
  parameters.push_back(whole("fill", 0, 255, 0, "the gray value outside"));
  return parameters;
}

// Through a matrix from the picture to a result of the same size.
Image warp(const Image& image, const float* matrix, const Arguments& arguments) {
  const int border = arguments.choice("border");
  const unsigned fill = 0x010101u * arguments.whole("fill") | 0xFF000000u;
  const Image in = image.channels == 3 ? to_rgba(image) : image;
  Image out = like(in, in.channels);
  const auto function =
      in.channels == 1 ? KelvraCV::warpaffine_bilinear_c1 : KelvraCV::warpaffine_bilinear_c4;
  function(in.data(), in.width, in.height, in.stride(), out.data(), out.width, out.height,
           out.stride(), matrix, border, fill);
  return out.channels == image.channels ? out : to_rgb(out);
}

Image rotate(const Image& image, const Arguments& arguments) {
  float matrix[6];
  KelvraCV::get_rotation_matrix(arguments.number("angle"), arguments.number("scale"),
                                static_cast<float>(image.width) / 2,
                                static_cast<float>(image.height) / 2, matrix);
  return warp(image, matrix, arguments);
}

Image shear(const Image& image, const Arguments& arguments) {
  const int w = image.width, h = image.height;
  const auto part = [&](const char* name, int side) {
    return static_cast<int>(arguments.number(name) / 100 * static_cast<float>(side));
  };
  const int across = part("x", w), down = part("y", h);
  const KelvraCV::Point from[] = {{0, 0}, {w, 0}, {0, h}};
  const KelvraCV::Point to[] = {{across, 0}, {w + across, down}, {0, h}};
  float matrix[6];
  KelvraCV::get_affine_transform(from, to, matrix);
  return warp(image, matrix, arguments);
}

Image perspective(const Image& image, const Arguments& arguments) {
  const auto w = static_cast<float>(image.width), h = static_cast<float>(image.height);
  // A positive tilt moves the upper (left) corners inwards, a negative one the lower (right) ones.
  const float x = arguments.number("tilt") / 200 * w, y = arguments.number("turn") / 200 * h;
  const float above = std::max(x, 0.0f), below = std::max(-x, 0.0f);
  const float left = std::max(y, 0.0f), right = std::max(-y, 0.0f);
  const float from[] = {0, 0, w, 0, w, h, 0, h};
  const float to[] = {above, left, w - above, right, w - below, h - right, below, h - left};
  float matrix[9];
  KelvraCV::get_perspective_transform(from, to, matrix);
  const Image in = to_rgba(image);
  Image out = like(in, 4);
  KelvraCV::warpperspective_bilinear_c4(
      in.data(), in.width, in.height, in.stride(), out.data(), out.width, out.height, out.stride(),
      matrix, arguments.choice("border"), 0x010101u * arguments.whole("fill") | 0xFF000000u);
  return from_rgba(out, image.channels);
}

// A tilted square of the picture, cut out upright as a crop of `side` pixels.
Image cut_out(const Image& rgba, const Arguments& arguments, int side, float* inverse) {
  const auto w = static_cast<float>(rgba.width), h = static_cast<float>(rgba.height);
  const float x = arguments.number("x") / 100 * w, y = arguments.number("y") / 100 * h;
  const float half = arguments.number("part") / 200 * std::min(w, h);
  const float angle = arguments.number("angle") * 3.14159265f / 180;
  const float dx = half * std::cos(angle), dy = half * std::sin(angle);
  const auto s = static_cast<float>(side);
  // The middles of the square's left and right sides.
  const float in_image[] = {x - dx, y - dy, x + dx, y + dy};
  const float in_crop[] = {0, s / 2, s, s / 2};
  const Image crop(side, side, 4);
  ImageData out = view(crop);
  KelvraCV::align_crop_img(view(rgba), in_crop, in_image, 2, out, inverse);
  return crop;
}

std::vector<Parameter> square_place() {
  return {number("x", 0, 100, "50", "the middle's column, in percent of the width"),
          number("y", 0, 100, "50", "the middle's row, in percent of the height"),
          number("part", 1, 200, "60", "the side, in percent of the picture's shorter one"),
          number("angle", -180, 180, "15", "degrees, clockwise")};
}

Image align_crop(const Image& image, const Arguments& arguments) {
  float inverse[6];
  return from_rgba(cut_out(to_rgba(image), arguments, arguments.whole("side"), inverse),
                   image.channels);
}

Image align_back(const Image& image, const Arguments& arguments) {
  Image result = to_rgba(image);
  float inverse[6];
  const float side =
      arguments.number("part") / 100 * static_cast<float>(std::min(image.width, image.height));
  Image crop = cut_out(result, arguments, std::clamp(static_cast<int>(side), 1, 4096), inverse);
  for (size_t i = 0; i < crop.pixels.size(); ++i) {
    if (i % 4 != 3) crop.pixels[i] = static_cast<uint8_t>(255 - crop.pixels[i]);
  }
  ImageData record = view(result);
  const int radius = std::min(arguments.whole("erode"), image.width + image.height);
  if (KelvraCV::align_back_img(view(crop), inverse, record, radius, arguments.number("feather")) !=
      0) {
    throw WorkError("align_back: the crop cannot be pasted back");
  }
  return from_rgba(result, image.channels);
}

void add_sizes(std::vector<Operation>& table) {
  const std::string family = "geometry";
  table.push_back(
      {"resize",
       family,
       "Another size, from the pixels around each place.",
       {size("size", "50%", "percent, the longer side in pixels, or both sides"),
        choice("filter", {"bilinear", "nearest", "bicubic"}, "bilinear",
               "2 x 2, 1 or 4 x 4 pixels around each place"),
        on_off("opaque", false, "drop the alpha channel on the way")},
       "any",
       "same",
       {"resize_nn_c1", "resize_nn_c3", "resize_bilinear_c1", "resize_bilinear_c3",
        "resize_bilinear_c4", "resize_bilinear_c4_to_c3", "resize_bicubic_c1", "resize_bicubic_c3"},
       "KelvraCV::resize_bilinear_c3(src, dst, width, height, 3 * width, dst_width, "
       "dst_height, 3 * dst_width);  // {size}, {filter}",
       resize,
       {},
       {}});
  table.push_back({"shrink",
                   family,
                   "Fits into a size by halving, so that no pixel is skipped; never enlarges.",
                   {size("size", "1280", "percent, the longer side in pixels, or both sides")},
                   "any",
                   "same",
                   {"resize_bilinear_c1", "resize_bilinear_c3", "resize_bilinear_c4"},
                   "KelvraCV::resize_bilinear_c3(src, dst, width, height, 3 * width, width / 2, "
                   "height / 2, width / 2 * 3);  // until near {size}",
                   shrink,
                   {},
                   {}});
  table.push_back(
      {"scale",
       family,
       "Another size by libyuv's filters, which differ by processor.",
       {size("size", "50%", "percent, the longer side in pixels, or both sides"),
        choice("filter", {"none", "linear", "bilinear", "box"}, "box", "libyuv's name")},
       "any",
       "same",
       {"scale_argb"},
       "KelvraCV::scale_argb(src, 4 * width, width, height, dst, 4 * dst_width, "
       "dst_width, dst_height, 0, 0, dst_width, dst_height, mode);  // {size}, {filter}",
       scale,
       {},
       {}});
  table.push_back(
      {"crop",
       family,
       "A part of the picture.",
       {number("left", 0, 100, "25", "percent of the width"),
        number("top", 0, 100, "25", "percent of the height"),
        number("width", 0, 100, "50", "percent of the width"),
        number("height", 0, 100, "50", "percent of the height")},
       "any",
       "same",
       {"crop_argb"},
       "KelvraCV::crop_argb(src, 4 * width, dst, 4 * w, width, height, x, y, w, h);  // "
       "{left}%, {top}%, {width}%, {height}%",
       crop,
       {},
       {}});
  table.push_back({"turn",
                   family,
                   "Quarter turns clockwise, after turning upside down.",
                   {choice("angle", {"0", "90", "180", "270"}, "90", "degrees"),
                    on_off("flip", false, "turn upside down first")},
                   "any",
                   "same",
                   {"rotate_argb"},
                   "KelvraCV::rotate_argb(src, 4 * width, dst, dst_stride, width, height, "
                   "KelvraCV::ROTATE_{angle}, {flip});",
                   turn,
                   {},
                   {}});
}

void add_warps(std::vector<Operation>& table) {
  const std::string family = "geometry";
  table.push_back({"rotate",
                   family,
                   "Turns about the middle by any angle, and enlarges.",
                   with_border({number("angle", -180, 180, "15", "degrees, counter-clockwise"),
                                number("scale", 0.1, 10, "1", "enlargement")}),
                   "any",
                   "same",
                   {"get_rotation_matrix", "warpaffine_bilinear_c1", "warpaffine_bilinear_c4"},
                   "KelvraCV::get_rotation_matrix({angle}, {scale}, width / 2.0f, height / 2.0f, "
                   "M);",
                   rotate,
                   {},
                   {}});
  table.push_back({"shear",
                   family,
                   "Slants, by three points and where they go.",
                   with_border({number("x", -100, 100, "20", "the upper edge's shift, percent"),
                                number("y", -100, 100, "0", "the right edge's shift, percent")}),
                   "any",
                   "same",
                   {"get_affine_transform", "warpaffine_bilinear_c1", "warpaffine_bilinear_c4"},
                   "KelvraCV::get_affine_transform(from, to, M);  // {x}%, {y}%",
                   shear,
                   {},
                   {}});
  table.push_back(
      {"perspective",
       family,
       "As seen from another place.",
       with_border({number("tilt", -90, 90, "40", "how narrow the upper edge gets, percent"),
                    number("turn", -90, 90, "0", "how short the left edge gets, percent")}),
       "any",
       "same",
       {"get_perspective_transform", "warpperspective_bilinear_c4"},
       "KelvraCV::get_perspective_transform(from, to, H);  // {tilt}%, {turn}%",
       perspective,
       {},
       {}});
  std::vector<Parameter> parameters = square_place();
  parameters.push_back(whole("side", 1, 4096, 320, "pixels of the crop's sides"));
  table.push_back({"align_crop",
                   family,
                   "Cuts a tilted square out, upright.",
                   parameters,
                   "any",
                   "same",
                   {"align_crop_img"},
                   "KelvraCV::align_crop_img(src, crop_points, image_points, 2, crop, inverse);",
                   align_crop,
                   {},
                   {}});
  parameters.back() = whole("erode", 0, 500, 24, "pixels that the pasted place is shrunk by");
  parameters.push_back(number("feather", 0, 100, "4", "softness of its edge, pixels"));
  table.push_back({"align_back",
                   family,
                   "Cuts a tilted square out, inverts it, and pastes it back with a soft edge.",
                   parameters,
                   "any",
                   "same",
                   {"align_back_img"},
                   "KelvraCV::align_back_img(crop, inverse, image, {erode}, {feather});",
                   align_back,
                   {},
                   {}});
}

}  // namespace

void add_geometry(std::vector<Operation>& table) {
  add_sizes(table);
  add_warps(table);
}

}  // namespace operations
