#include <algorithm>

#include "entries.h"

namespace operations {
namespace {

using KelvraCV::Point;
using Outlines = std::vector<std::vector<Point>>;

Image boundary(const Image& image, const Arguments& arguments) {
  Image mask = to_mask(image, arguments.whole("level")), out = like(image, 1);
  KelvraCV::find_contours(mask.data(), out.data(), mask.width, mask.height);
  return out;
}

Outlines outlines_of(const Image& mask, int mode, int method) {
  Outlines outlines;
  KelvraCV::find_blob_contours(mask.data(), outlines, mask.width, mask.height, mask.stride(), mode,
                               method);
  return outlines;
}

void simplify(Outlines& outlines, float epsilon) {
  if (epsilon == 0) return;
  for (auto& outline : outlines) KelvraCV::approx_poly_dp(outline, outline, epsilon, true);
}

Outlines find_all(const Image& image, const Arguments& arguments) {
  Outlines outlines = outlines_of(to_mask(image, arguments.whole("level")),
                                  arguments.choice("mode"), 1 + arguments.choice("method"));
  simplify(outlines, arguments.number("epsilon"));
  return outlines;
}

Findings find_outlines(const Image& image, const Arguments& arguments) {
  Findings found{{"count"}, {}, find_all(image, arguments)};
  for (const auto& outline : found.points) {
    found.rows.push_back({static_cast<double>(outline.size())});
  }
  return found;
}

void draw_line(Image& rgb, Point from, Point to, int reach, Color color) {
  const int steps = std::max({std::abs(to.x - from.x), std::abs(to.y - from.y), 1});
  for (int i = 0; i <= steps; ++i) {
    draw_dot(rgb, from.x + (to.x - from.x) * i / steps, from.y + (to.y - from.y) * i / steps, reach,
             color);
  }
}

Image draw_outlines(const Image& image, const Arguments& arguments) {
  Image drawn = to_rgb(image);
  for (const auto& outline : find_all(image, arguments)) {
    for (size_t i = 0; i < outline.size(); ++i) {
      draw_line(drawn, outline[i], outline[(i + 1) % outline.size()], pen(drawn), kGreen);
    }
  }
  return drawn;
}

Outlines regions_of(const Image& image, const Arguments& arguments) {
  const Image mask = to_mask(image, arguments.whole("level"));
  Outlines regions;
  (arguments.on("border") ? KelvraCV::find_blobs_contours : KelvraCV::find_blobs)(
      mask.data(), regions, mask.width, mask.height);
  const auto least = static_cast<size_t>(arguments.whole("least"));
  regions.erase(std::remove_if(regions.begin(), regions.end(),
                               [least](const auto& region) { return region.size() < least; }),
                regions.end());
  return regions;
}

Findings find_regions(const Image& image, const Arguments& arguments) {
  Findings found{{"pixels", "left", "top", "right", "bottom"}, {}, {}};
  for (const auto& region : regions_of(image, arguments)) {
    Point low = region[0], high = region[0];
    for (const Point& point : region) {
      low = {std::min(low.x, point.x), std::min(low.y, point.y)};
      high = {std::max(high.x, point.x), std::max(high.y, point.y)};
    }
    found.rows.push_back({static_cast<double>(region.size()), static_cast<double>(low.x),
                          static_cast<double>(low.y), static_cast<double>(high.x),
                          static_cast<double>(high.y)});
  }
  return found;
}

// A colour for each region, unlike its neighbours' in the list.
Image draw_regions(const Image& image, const Arguments& arguments) {
  Image drawn = like(image, 3);
  unsigned hue = 0;
  for (const auto& region : regions_of(image, arguments)) {
    hue = hue * 1664525u + 1013904223u;
    const Color color{static_cast<uint8_t>(96 + (hue >> 8) % 160),
                      static_cast<uint8_t>(96 + (hue >> 16) % 160),
                      static_cast<uint8_t>(96 + (hue >> 24) % 160)};
    for (const Point& point : region) draw_dot(drawn, point.x, point.y, 0, color);
  }
  return drawn;
}

std::vector<KelvraCV::Center> centers_of(const Image& image, const Arguments& arguments) {
  const Image mask = to_mask(image, arguments.whole("level"));
  KelvraCV::BlobParams params{};
  params.by_area = params.by_circularity = params.by_inertia = true;
  params.min_area = arguments.whole("min_area");
  params.max_area = arguments.whole("max_area");
  params.min_circularity = arguments.number("circularity");
  params.min_inertia_ratio = arguments.number("inertia");
  params.max_circularity = params.max_inertia_ratio = 2;  // above all that there are
  std::vector<KelvraCV::Center> centers;
  KelvraCV::filter_blobs(mask.data(), mask.width, outlines_of(mask, 0, 1), centers, params);
  return centers;
}

Findings find_blobs(const Image& image, const Arguments& arguments) {
  Findings found{{"x", "y", "radius", "confidence"}, {}, {}};
  for (const auto& [x, y, radius, confidence] : centers_of(image, arguments)) {
    found.rows.push_back({static_cast<double>(x), static_cast<double>(y), radius, confidence});
  }
  return found;
}

Image draw_blobs(const Image& image, const Arguments& arguments) {
  Image drawn = to_rgb(image);
  for (const auto& center : centers_of(image, arguments)) {
    const int radius = static_cast<int>(center.radius);
    draw_box(drawn, center.x - radius, center.y - radius, center.x + radius, center.y + radius,
             kYellow);
    draw_dot(drawn, center.x, center.y, 2 + 2 * pen(drawn), kRed);
  }
  return drawn;
}

Image polygons(const Image& image, const Arguments& arguments) {
  Outlines outlines = outlines_of(to_mask(image, arguments.whole("level")), 0, 1);
  simplify(outlines, arguments.number("epsilon"));
  Image filled = like(image, 1);
  std::vector<int> xs, ys;
  for (const auto& outline : outlines) {
    xs.clear(), ys.clear();
    for (const Point& point : outline) xs.push_back(point.x), ys.push_back(point.y);
    KelvraCV::fill_poly(filled.data(), filled.width, xs.data(), ys.data(),
                        static_cast<int>(xs.size()));
  }
  return filled;
}

Image expand(const Image& image, const Arguments& arguments) {
  const Image mask = to_mask(image, arguments.whole("level"));
  Image out = like(image, 1);
  KelvraCV::expand_contours(mask.data(), outlines_of(mask, 0, 1), out.data(), mask.width,
                            mask.height, mask.stride(), arguments.whole("radius"));
  return out;
}

Image fill(const Image& image, const Arguments& arguments) {
  const Image in = to_rgba(image), mask = like(image, 1);
  KelvraCV::ImageData out = view(mask);
  KelvraCV::Rect rect{};
  const Point seed{percent_of(arguments.number("x"), image.width),
                   percent_of(arguments.number("y"), image.height)};
  KelvraCV::flood_fill(view(in), out, seed, rect, arguments.whole("distance"),
                       arguments.whole("threshold"));
  return mask;
}

Findings find_bounds(const Image& image, const Arguments& arguments) {
  const Image mask = to_mask(image, arguments.whole("level"));
  int left = 0, top = 0, right = 0, bottom = 0;
  KelvraCV::get_mask_pos(view(mask), left, top, right, bottom, arguments.on("dark"));
  Findings found{{"left", "top", "right", "bottom"}, {}, {}};
  if (left >= 0) {
    found.rows.push_back({static_cast<double>(left), static_cast<double>(top),
                          static_cast<double>(right), static_cast<double>(bottom)});
  }
  return found;
}

Image draw_bounds(const Image& image, const Arguments& arguments) {
  Image drawn = to_rgb(image);
  for (const auto& row : find_bounds(image, arguments).rows) {
    draw_box(drawn, static_cast<int>(row[0]), static_cast<int>(row[1]), static_cast<int>(row[2]),
             static_cast<int>(row[3]), kYellow);
  }
  return drawn;
}

void add_finders(std::vector<Operation>& table) {
  const std::string family = "shape";
  table.push_back({"outlines",
                   family,
                   "The outlines of a mask's regions as ordered points.",
                   {mask_level(),
                    choice("mode", {"external", "list", "levels", "tree"}, "external",
                           "which outlines: the outer ones, or holes too"),
                    choice("method", {"none", "simple", "tc89_l1", "tc89_kcos"}, "simple",
                           "how points on straight runs are left out"),
                    number("epsilon", 0, 100, "0", "further simplified to within so many pixels")},
                   "mask",
                   "the points of each outline",
                   {"find_blob_contours", "approx_poly_dp"},
                   "KelvraCV::find_blob_contours(mask, contours, width, height, width, 0, 2);  // "
                   "{mode}, {method}",
                   draw_outlines,
                   find_outlines,
                   {}});
  table.push_back({"regions",
                   family,
                   "The connected regions of a mask.",
                   {mask_level(), on_off("border", false, "their boundary pixels only"),
                    whole("least", 1, 1000000, 20, "pixels that a region must have")},
                   "mask",
                   "pixels and bounds of each region",
                   {"find_blobs", "find_blobs_contours"},
                   "KelvraCV::find_blobs(mask, blobs, width, height);",
                   draw_regions,
                   find_regions,
                   {}});
  table.push_back({"blobs",
                   family,
                   "The round and large regions of a mask.",
                   {mask_level(), whole("min_area", 0, 100000000, 200, "pixels"),
                    whole("max_area", 1, 1000000000, 1000000000, "pixels, exclusive"),
                    number("circularity", 0, 1, "0", "least; 1 is a disc"),
                    number("inertia", 0, 1, "0", "least; 0 is a line and 1 as wide as long")},
                   "mask",
                   "x, y, radius and confidence of each blob",
                   {"filter_blobs"},
                   "KelvraCV::filter_blobs(mask, width, outlines, centers, params);",
                   draw_blobs,
                   find_blobs,
                   {}});
  table.push_back({"bounds",
                   family,
                   "The box around a mask's foreground.",
                   {mask_level(), on_off("dark", false, "black is the foreground")},
                   "mask",
                   "left, top, right and bottom, inclusive",
                   {"get_mask_pos"},
                   "KelvraCV::get_mask_pos(mask, left, top, right, bottom, {dark});",
                   draw_bounds,
                   find_bounds,
                   {}});
}

}  // namespace

void add_shape(std::vector<Operation>& table) {
  const std::string family = "shape";
  table.push_back({"boundary",
                   family,
                   "Marks the boundary pixels of a mask.",
                   {mask_level()},
                   "mask",
                   "mask",
                   {"find_contours"},
                   "KelvraCV::find_contours(mask, dst, width, height);",
                   boundary,
                   {},
                   {}});
  add_finders(table);
  table.push_back(
      {"polygons",
       family,
       "A mask's outlines, simplified and filled.",
       {number("epsilon", 0, 100, "6", "greatest distance from the outline, pixels"), mask_level()},
       "mask",
       "mask",
       {"fill_poly", "approx_poly_dp"},
       "KelvraCV::fill_poly(mask, width, xs, ys, count);",
       polygons,
       {},
       {}});
  table.push_back(
      {"expand",
       family,
       "Paints a disc around every outline point of a mask.",
       {whole("radius", 0, 500, 8, "pixels"), mask_level()},
       "mask",
       "mask",
       {"expand_contours"},
       "KelvraCV::expand_contours(mask, contours, dst, width, height, width, {radius});",
       expand,
       {},
       {}});
  table.push_back({"fill",
                   family,
                   "Fills the region of similar colour around a place.",
                   {number("x", 0, 100, "50", "the place's column, in percent of the width"),
                    number("y", 0, 100, "15", "the place's row, in percent of the height"),
                    whole("threshold", 0, 255, 40, "greatest difference of any channel"),
                    whole("distance", 0, 32768, 0, "greatest distance in pixels; 0 for any")},
                   "colour",
                   "mask",
                   {"flood_fill"},
                   "KelvraCV::flood_fill(image, mask, seed, rect, {distance}, {threshold});",
                   fill,
                   {},
                   {}});
}

}  // namespace operations
