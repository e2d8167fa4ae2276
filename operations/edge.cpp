#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "entries.h"

namespace operations {
namespace {

using KelvraCV::ImageData;

Image sobel(const Image& image, const Arguments& arguments) {
  return on_gray(image, [&](auto... picture) {
    KelvraCV::sobel_edge(picture..., arguments.whole("threshold"));
  });
}

// The derivatives are from -1020 to 1020, the magnitude from 0 to 2040.
Image gradient(const Image& image, const Arguments& arguments) {
  const Image gray = to_gray(image);
  std::vector<short> dx(gray.pixels.size()), dy(dx);
  KelvraCV::sobel_grad(gray.data(), dx.data(), dy.data(), gray.width, gray.height);
  const int shown = arguments.choice("show");
  Image result = like(image, 1);
  for (size_t i = 0; i < dx.size(); ++i) {
    const int value = shown == 0   ? (std::abs(dx[i]) + std::abs(dy[i])) / 8
                      : shown == 1 ? 128 + dx[i] / 8
                                   : 128 + dy[i] / 8;
    result.pixels[i] = static_cast<uint8_t>(value);
  }
  return result;
}

Image canny(const Image& image, const Arguments& arguments) {
  const Image edges = like(image, 1);
  ImageData out = view(edges);
  KelvraCV::canny(view(image), out, arguments.whole("low"), arguments.whole("high"));
  return edges;
}

Image clahe(const Image& image, const Arguments& arguments) {
  Image in = image;  // of one channel, the source is changed
  const Image result = like(image, image.channels);
  ImageData out = view(result);
  KelvraCV::clahe(view(in), out, arguments.whole("tiles"), arguments.whole("bins"),
                  arguments.number("clip"));
  return result;
}

Image mask_edge(const Image& image, const Arguments& arguments) {
  const Image mask = to_mask(image, arguments.whole("level"));
  Image edge = like(image, 1);
  KelvraCV::get_mask_edge(mask.data(), edge.data(), mask.width, mask.height, mask.stride(),
                          edge.stride(), arguments.on("dark"));
  return edge;
}

// The running sum, its largest value shown as white.
Image integral(const Image& image, const Arguments&) {
  const Image gray = to_gray(image);
  const size_t row = static_cast<size_t>(gray.width) + 1;
  std::vector<int> sums(row * (gray.height + 1));
  KelvraCV::integral_int(gray.data(), sums.data(), gray.width, gray.height, gray.stride());
  const auto sum = [&](size_t x, size_t y) {  // modulo 2^32
    return static_cast<uint64_t>(static_cast<uint32_t>(sums[y * row + x]));
  };
  const uint64_t last = std::max<uint64_t>(sum(gray.width, gray.height), 1);
  Image result = like(image, 1);
  for (int y = 0; y < gray.height; ++y) {
    for (int x = 0; x < gray.width; ++x) {
      *result.at(x, y) =
          static_cast<uint8_t>(std::min<uint64_t>(255 * sum(x + 1, y + 1) / last, 255));
    }
  }
  return result;
}

// One level; past the one of a single pixel there are none.
Image pyramid(const Image& image, const Arguments& arguments) {
  std::vector<Image> levels{image};
  for (int i = 0; i < arguments.whole("level"); ++i) {
    const Image& last = levels.back();
    if (last.width == 1 && last.height == 1) break;
    levels.emplace_back((last.width + 1) / 2, (last.height + 1) / 2, image.channels);
  }
  std::vector<ImageData> records;
  for (const Image& level : levels) records.push_back(view(level));
  KelvraCV::pyramid_gauss(view(image), records);
  return levels.back();
}

// counts[c][i]: the samples of channel c from i * step on.
std::vector<std::vector<int>> count_samples(const Image& image, int step) {
  const size_t bins = 255 / step + 1;
  std::vector<std::vector<int>> counts(image.channels,
                                       std::vector<int>(std::max<size_t>(step, bins)));
  std::vector<int*> pointers;
  for (auto& channel : counts) pointers.push_back(channel.data());
  std::vector<int> steps(image.channels, step);
  KelvraCV::cal_hist(image.data(), image.stride(), image.channels, image.width, image.height, 0, 0,
                     pointers.data(), steps.data());
  for (auto& channel : counts) channel.resize(bins);
  return counts;
}

Findings find_histogram(const Image& image, const Arguments& arguments) {
  const int step = arguments.whole("step");
  const auto counts = count_samples(image, step);
  Findings found{{"channel", "from", "count"}, {}, {}};
  for (size_t c = 0; c < counts.size(); ++c) {
    for (size_t i = 0; i < counts[c].size(); ++i) {
      found.rows.push_back({static_cast<double>(c), static_cast<double>(i) * step,
                            static_cast<double>(counts[c][i])});
    }
  }
  return found;
}

// Bars of each colour, added, over the darkened picture's lower half.
Image draw_histogram(const Image& image, const Arguments& arguments) {
  auto counts = count_samples(image, arguments.whole("step"));
  if (counts.size() == 4) counts.pop_back();
  const size_t bins = counts[0].size();
  int most = 1;
  for (const auto& channel : counts) {
    most = std::max(most, *std::max_element(channel.begin(), channel.end()));
  }
  Image drawn = to_rgb(image);
  for (uint8_t& sample : drawn.pixels) sample /= 4;
  for (int x = 0; x < drawn.width; ++x) {
    const size_t bin = x * bins / drawn.width;
    for (size_t c = 0; c < counts.size(); ++c) {
      const int height =
          static_cast<int>(static_cast<int64_t>(counts[c][bin]) * drawn.height / 2 / most);
      for (int y = drawn.height - height; y < drawn.height; ++y) {
        uint8_t* const pixel = drawn.at(x, y);
        if (counts.size() == 1) std::memset(pixel, 230, 3);
        pixel[c] = 230;
      }
    }
  }
  return drawn;
}

void add_contrast(std::vector<Operation>& table) {
  table.push_back({"clahe",
                   "edge",
                   "Contrast-limited adaptive histogram equalisation.",
                   {whole("tiles", 2, 16, 8, "regions per side"),
                    whole("bins", 1, 256, 256, "of a region's histogram"),
                    number("clip", 0.1, 100, "3", "how far a bin may exceed the mean one")},
                   "any",
                   "same",
                   {"clahe"},
                   "KelvraCV::clahe(src, dst, {tiles}, {bins}, {clip});",
                   clahe,
                   {},
                   {}});
  table.push_back({"histogram",
                   "edge",
                   "Counts the samples of each channel.",
                   {whole("step", 1, 255, 4, "values that one bin holds")},
                   "any",
                   "channel, from and count of each bin",
                   {"cal_hist"},
                   "KelvraCV::cal_hist(src, 3 * width, 3, width, height, 0, 0, hists, bins);",
                   draw_histogram,
                   find_histogram,
                   {}});
}

}  // namespace

void add_edge(std::vector<Operation>& table) {
  const std::string family = "edge";
  table.push_back({"sobel",
                   family,
                   "Marks where the gradient is strong.",
                   {whole("threshold", 0, 2040, 100, "of |dx| + |dy|, exclusive")},
                   "gray",
                   "mask",
                   {"sobel_edge"},
                   "KelvraCV::sobel_edge(src, dst, width, height, {threshold});",
                   sobel,
                   {},
                   {}});
  table.push_back({"gradient",
                   family,
                   "Sobel derivatives, an eighth of them.",
                   {choice("show", {"magnitude", "x", "y"}, "magnitude", "|dx| + |dy|, dx or dy")},
                   "gray",
                   "gray",
                   {"sobel_grad"},
                   "KelvraCV::sobel_grad(src, dx, dy, width, height);",
                   gradient,
                   {},
                   {}});
  table.push_back({"canny",
                   family,
                   "Canny edges: thin lines, linked.",
                   {whole("low", 0, 2039, 60, "gradient of weak edges, kept beside strong ones"),
                    whole("high", 1, 2040, 150, "gradient of strong edges")},
                   "any",
                   "mask",
                   {"canny"},
                   "KelvraCV::canny(src, dst, {low}, {high});",
                   canny,
                   {},
                   [](const Arguments& arguments) -> std::string {
                     if (arguments.whole("low") < arguments.whole("high")) return "";
                     return "low is " + arguments.text("low") +
                            "; wanted less than high, which is " + arguments.text("high");
                   }});
  add_contrast(table);
  table.push_back({"mask_edge",
                   family,
                   "The inner edge of a mask, one pixel wide.",
                   {mask_level(), on_off("dark", false, "black is the foreground")},
                   "mask",
                   "mask",
                   {"get_mask_edge"},
                   "KelvraCV::get_mask_edge(mask, dst, width, height, width, width, {dark});",
                   mask_edge,
                   {},
                   {}});
  table.push_back({"integral",
                   family,
                   "The summed-area table, scaled to black and white.",
                   {},
                   "gray",
                   "gray",
                   {"integral_int"},
                   "KelvraCV::integral_int(src, sum, width, height, width);",
                   integral,
                   {},
                   {}});
  table.push_back({"pyramid",
                   family,
                   "A level of the Gaussian pyramid: halved, without aliasing.",
                   {whole("level", 0, 15, 1, "how many times halved")},
                   "any",
                   "same",
                   {"pyramid_gauss"},
                   "KelvraCV::pyramid_gauss(src, levels);  // levels[{level}]",
                   pyramid,
                   {},
                   {}});
}

}  // namespace operations
