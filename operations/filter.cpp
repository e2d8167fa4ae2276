#include <algorithm>

#include "entries.h"

namespace operations {
namespace {

using KelvraCV::ImageData;
using Plane = void (*)(const unsigned char*, unsigned char*, int, int, int);

// An operation of one radius on each channel, whose square must fit into the picture.
Operation windowed(const std::string& name, const std::string& sentence,
                   const std::string& function, Plane plane, int standard) {
  const auto run = [name, plane](const Image& image, const Arguments& arguments) {
    const int radius = arguments.whole("radius");
    check_least(name, image, 2 * radius + 1);
    return by_channel(image, [=](auto... picture) { plane(picture..., radius); });
  };
  return {name,
          "filter",
          sentence,
          {whole("radius", 1, 500, standard, "pixels from the middle of the square to its sides")},
          "any",
          "same",
          {function},
          "KelvraCV::" + function + "(src, dst, width, height, {radius});  // each channel",
          run,
          {},
          {}};
}

// The same on the mask of what is brighter than a level.
Operation on_mask(const std::string& name, const std::string& sentence, const std::string& function,
                  Plane plane) {
  Operation entry = windowed(name, sentence, function, plane, 4);
  entry.parameters.push_back(mask_level());
  entry.takes = entry.gives = "mask";
  entry.call = "KelvraCV::" + function + "(mask, dst, width, height, {radius});";
  entry.run = [name, plane](const Image& image, const Arguments& arguments) {
    const int radius = arguments.whole("radius");
    check_least(name, image, 2 * radius + 1);
    return on_gray(to_mask(image, arguments.whole("level")),
                   [=](auto... picture) { plane(picture..., radius); });
  };
  return entry;
}

Image gaussian(const Image& image, const Arguments& arguments) {
  const int size = 2 * arguments.whole("radius") + 1;
  check_least("gaussian", image, size);
  return by_channel(image, [&](auto... picture) {
    KelvraCV::gaussian_blur(picture..., size, arguments.number("sigma"));
  });
}

Image gaussian_fast(const Image& image, const Arguments& arguments) {
  const float sigma = arguments.number("sigma");
  if (image.channels != 4) {
    return by_channel(image,
                      [=](auto... picture) { KelvraCV::gaussian_blur_fast(picture..., sigma); });
  }
  Image out = like(image, 4);
  KelvraCV::gaussian_blur_c4(image.data(), out.data(), image.width, image.height, sigma);
  return out;
}

Image threshold(const Image& image, const Arguments& arguments) {
  Image gray = to_gray(image);
  KelvraCV::threshold(gray.data(), gray.data(), gray.width, gray.height, arguments.whole("level"),
                      arguments.whole("value"));
  return gray;
}

Image guided(const Image& image, const Arguments& arguments) {
  const Image out = like(image, image.channels);
  ImageData record = view(out);
  KelvraCV::guided_filter_general(view(image), view(to_gray(image)), record,
                                  arguments.whole("radius"), arguments.number("scale"),
                                  arguments.number("eps"));
  return out;
}

Image guided_self(const Image& image, const Arguments& arguments) {
  const Image out = like(image, image.channels);
  ImageData record = view(out);
  KelvraCV::guided_filter_self(view(image), record, arguments.whole("radius"),
                               arguments.number("scale"), arguments.number("eps"));
  return out;
}

// A picture whose reduced size has no pixel keeps its statistics at full size.
Operation smoothing(const std::string& name, const std::string& sentence,
                    const std::string& function, const std::string& call,
                    Image (*filter)(const Image&, const Arguments&)) {
  const auto run = [name, filter](const Image& image, const Arguments& arguments) {
    check_least(name, image, static_cast<int>(1 / arguments.number("scale")) + 1);
    return filter(image, arguments);
  };
  return {name,
          "filter",
          sentence,
          {whole("radius", 1, 200, 8, "pixels from the middle of a window to its sides"),
           number("scale", 0.0625, 1, "1", "size of the image whose statistics are taken"),
           number("eps", 0.00001, 1, "0.01", "the variance below which areas are smooth")},
          "any",
          "same",
          {function},
          call,
          run,
          {},
          {}};
}

Image bilateral(const Image& image, const Arguments& arguments) {
  const Image out = like(image, image.channels);
  ImageData record = view(out);
  KelvraCV::bilateral_filter(view(image), record, arguments.number("spatial"),
                             arguments.number("range"));
  return out;
}

void add_blurs(std::vector<Operation>& table) {
  const std::string family = "filter";
  table.push_back(
      {"gaussian",
       family,
       "Gaussian blur with the kernel written out.",
       {whole("radius", 1, 100, 4, "pixels from the middle of the kernel to its sides"),
        number("sigma", 0, 100, "0", "standard deviation in pixels; 0 fits the kernel")},
       "any",
       "same",
       {"gaussian_blur"},
       "KelvraCV::gaussian_blur(src, dst, width, height, 2 * {radius} + 1, {sigma});  "
       "// each channel",
       gaussian,
       {},
       {}});
  table.push_back({"gaussian_fast",
                   family,
                   "A wide Gaussian blur by three boxes, at a cost without regard to its width.",
                   {number("sigma", 0.1, 200, "4", "half of the standard deviation in pixels")},
                   "any",
                   "same",
                   {"gaussian_blur_fast", "gaussian_blur_c4"},
                   "KelvraCV::gaussian_blur_fast(src, dst, width, height, {sigma});  // each "
                   "channel",
                   gaussian_fast,
                   {},
                   {}});
  table.push_back({"gaussian_3x3",
                   family,
                   "Blur with the weights 1 2 1.",
                   {},
                   "any",
                   "same",
                   {"gaussian_blur_3x3"},
                   "KelvraCV::gaussian_blur_3x3(src, dst, width, height, width, width);  // each "
                   "channel",
                   [](const Image& image, const Arguments&) {
                     return by_channel(image, [&](auto... picture) {
                       KelvraCV::gaussian_blur_3x3(picture..., image.width, image.width);
                     });
                   },
                   {},
                   {}});
  table.push_back({"gaussian_5x5",
                   family,
                   "Blur with the weights 1 4 6 4 1.",
                   {},
                   "any",
                   "same",
                   {"gaussian_blur_5x5"},
                   "KelvraCV::gaussian_blur_5x5(src, dst, width, height);  // each channel",
                   [](const Image& image, const Arguments&) {
                     return by_channel(image, KelvraCV::gaussian_blur_5x5);
                   },
                   {},
                   {}});
  table.push_back(
      windowed("box", "The mean over a square.", "filter_box", KelvraCV::filter_box, 8));
}

}  // namespace

void add_filter(std::vector<Operation>& table) {
  add_blurs(table);
  table.push_back({"threshold",
                   "filter",
                   "Pixels brighter than a level become white, others black.",
                   {whole("level", 0, 254, 127, "the brightest value that becomes black"),
                    whole("value", 0, 255, 255, "what brighter pixels become")},
                   "gray",
                   "mask",
                   {"threshold"},
                   "KelvraCV::threshold(src, dst, width, height, {level}, {value});",
                   threshold,
                   {},
                   {}});
  table.push_back(windowed("max", "The maximum over a square: bright areas grow.", "filter_max",
                           KelvraCV::filter_max, 3));
  table.push_back(windowed("min", "The minimum over a square: dark areas grow.", "filter_min",
                           KelvraCV::filter_min, 3));
  table.push_back(on_mask("dilate", "Widens a mask.", "dilate_mask", KelvraCV::dilate_mask));
  table.push_back(on_mask("erode", "Shrinks a mask.", "erode_mask", KelvraCV::erode_mask));
  table.push_back(smoothing(
      "guided", "Smooths each channel where the luminance is smooth and keeps its edges.",
      "guided_filter_general",
      "KelvraCV::guided_filter_general(src, gray, dst, {radius}, {scale}, {eps});", guided));
  table.push_back(smoothing(
      "guided_self", "Smooths where a channel is smooth and keeps its edges.", "guided_filter_self",
      "KelvraCV::guided_filter_self(src, dst, {radius}, {scale}, {eps});", guided_self));
  table.push_back({"bilateral",
                   "filter",
                   "Recursive bilateral filter: smooths up to edges.",
                   {number("spatial", 0.001, 1, "0.03", "reach, in units of 255 pixels"),
                    number("range", 0.001, 1, "0.1", "difference that counts as an edge, of 1")},
                   "any",
                   "same",
                   {"bilateral_filter"},
                   "KelvraCV::bilateral_filter(src, dst, {spatial}, {range});",
                   bilateral,
                   {},
                   {}});
}

}  // namespace operations
