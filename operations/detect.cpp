#include <algorithm>
#include <cmath>

#include "entries.h"

namespace operations {
namespace {

std::vector<KelvraCV::KeyPoint> corners_of(const Image& image, const Arguments& arguments) {
  std::vector<KelvraCV::KeyPoint> corners;
  KelvraCV::fast_9_16(image.data(), corners, image.width, image.height, image.channels,
                      image.stride(), 0, arguments.whole("threshold"), arguments.on("suppress"),
                      nullptr);
  return corners;
}

Findings find_corners(const Image& image, const Arguments& arguments) {
  Findings found{{"x", "y", "response"}, {}, {}};
  for (const auto& [x, y, response] : corners_of(image, arguments)) {
    found.rows.push_back({static_cast<double>(x), static_cast<double>(y), response});
  }
  return found;
}

Image draw_corners(const Image& image, const Arguments& arguments) {
  Image drawn = to_rgb(image);
  const int reach = pen(drawn);
  for (const auto& corner : corners_of(image, arguments)) {
    for (int i = -2 - reach; i <= 2 + reach; ++i) {
      draw_dot(drawn, corner.x + i, corner.y, reach, kRed);
      draw_dot(drawn, corner.x, corner.y + i, reach, kRed);
    }
  }
  return drawn;
}

// A network's input, shown as the picture that its planes hold.
Image tensor(const Image& image, const Arguments& arguments) {
  const int width = arguments.whole("width"), height = arguments.whole("height");
  const size_t plane = static_cast<size_t>(width) * height;
  std::vector<float> values(3 * plane);
  float scale = 0, mean[] = {0, 0, 0}, deviation[] = {255, 255, 255};
  const Image in = image.channels == 1 ? to_rgb(image) : image;
  KelvraCV::object_detetion_preprocess(view(in), width, height, values.data(), scale, mean,
                                       deviation, true, true, !arguments.on("swap"));
  Image shown(width, height, 3);
  for (size_t i = 0; i < plane; ++i) {
    for (size_t k = 0; k < 3; ++k) {
      shown.pixels[3 * i + k] = static_cast<uint8_t>(std::lround(values[k * plane + i] * 255));
    }
  }
  return shown;
}

// In place of a network's rows: the bounds of each bright region, as sure as they are filled.
std::vector<KelvraCV::BBox> boxes_of(const Image& image, const Arguments& arguments) {
  const Image mask = to_mask(image, arguments.whole("level"));
  std::vector<std::vector<KelvraCV::Point>> regions;
  KelvraCV::find_blobs(mask.data(), regions, mask.width, mask.height);
  std::vector<float> rows;
  for (const auto& region : regions) {
    if (region.size() < static_cast<size_t>(arguments.whole("least"))) continue;
    const auto [left, right] =
        std::minmax_element(region.begin(), region.end(), [](auto a, auto b) { return a.x < b.x; });
    const int top = region.front().y, bottom = region.back().y;  // they are in raster order
    const auto width = static_cast<float>(right->x - left->x + 1);
    const auto height = static_cast<float>(bottom - top + 1);
    rows.insert(rows.end(),
                {static_cast<float>(left->x) + width / 2, static_cast<float>(top) + height / 2,
                 width, height, static_cast<float>(region.size()) / (width * height), 1.0f});
  }
  std::vector<KelvraCV::BBox> boxes;
  KelvraCV::object_detetion_postprocess(rows.data(), static_cast<int>(rows.size() / 6), 1, boxes,
                                        arguments.number("score"), arguments.number("overlap"));
  return boxes;
}

Findings find_boxes(const Image& image, const Arguments& arguments) {
  Findings found{{"x1", "y1", "x2", "y2", "score"}, {}, {}};
  for (const auto& box : boxes_of(image, arguments)) {
    found.rows.push_back({box.x1, box.y1, box.x2, box.y2, box.score});
  }
  return found;
}

Image draw_boxes(const Image& image, const Arguments& arguments) {
  Image drawn = to_rgb(image);
  for (const auto& box : boxes_of(image, arguments)) {
    draw_box(drawn, static_cast<int>(box.x1), static_cast<int>(box.y1), static_cast<int>(box.x2),
             static_cast<int>(box.y2), kYellow);
  }
  return drawn;
}

}  // namespace

void add_detect(std::vector<Operation>& table) {
  const std::string family = "detect";
  table.push_back({"corners",
                   family,
                   "FAST 9/16 corners.",
                   {whole("threshold", 0, 255, 40, "how much the circle differs from its middle"),
                    on_off("suppress", true, "only the strongest of neighbouring corners")},
                   "any",
                   "x, y and response of each corner",
                   {"fast_9_16"},
                   "KelvraCV::fast_9_16(src, corners, width, height, 3, 3 * width, 0, {threshold}, "
                   "{suppress}, nullptr);",
                   draw_corners,
                   find_corners,
                   {}});
  table.push_back({"boxes",
                   family,
                   "Boxes around bright regions, of overlapping ones the best, as a detector's.",
                   {mask_level(), whole("least", 1, 1000000, 200, "pixels that a region must have"),
                    number("score", 0, 1, "0.3", "least share of its box that a region fills"),
                    number("overlap", 0, 1, "0.3", "intersection over union from which one goes")},
                   "mask",
                   "x1, y1, x2, y2 and score of each box",
                   {"object_detetion_postprocess"},
                   "KelvraCV::object_detetion_postprocess(rows, count, 1, boxes, {score}, "
                   "{overlap});",
                   draw_boxes,
                   find_boxes,
                   {}});
  table.push_back({"tensor",
                   family,
                   "A detection network's input, shown as a picture.",
                   {whole("width", 1, 4096, 416, "of the tensor, pixels"),
                    whole("height", 1, 4096, 416, "of the tensor, pixels"),
                    on_off("swap", false, "exchange red and blue")},
                   "colour",
                   "colour",
                   {"object_detetion_preprocess"},
                   "KelvraCV::object_detetion_preprocess(image, {width}, {height}, tensor, scale, "
                   "mean, std_dev, true, true, true);",
                   tensor,
                   {},
                   {}});
}

}  // namespace operations
