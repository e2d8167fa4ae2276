// Crops that landmarks align: cut out of an image, and pasted back with a soft edge.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <new>
#include <vector>

#include "core/rows.h"
#include "core/scratch.h"
#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

using namespace detail;

// Columns or rows, from the first to before the last.
struct Range {
  double first, last;
  double length() const { return last - first; }
};

// Where a crop comes to lie in an image, in whole columns and rows, however far outside.
struct Place {
  Range columns, rows;
};

// `inverse` maps the corners of the crop to (u, v) = row (x, y, 1).
Place place_of(const ImageData& crop, const float* inverse) {
  const auto range = [&](const float* row) {
    const double x = static_cast<double>(row[0]) * crop.width;
    const double y = static_cast<double>(row[1]) * crop.height;
    const auto [low, high] = std::minmax({0.0, x, y, x + y});
    return Range{std::floor(low + row[2]), std::ceil(high + row[2])};
  };
  return {range(inverse), range(inverse + 3)};
}

bool is_within(const Range& range, int size) {
  return range.first < size && range.last > 0;  // false for NaN
}

// How far erosion and feathering reach, and what they are reduced to.
struct SoftEdge {
  int erode_radius;
  float sigma;
  double box_radius;  // of any of the three boxes of gaussian_blur_fast(), or more
};

SoftEdge soft_edge_of(int erode_radius, float feather_sigma, const Place& place,
                      const ImageData& image) {
  const double longer_side = std::max(place.columns.length(), place.rows.length());
  const double image_side = std::max(image.width, image.height);
  const double sigma = std::min({double{feather_sigma}, longer_side / 4, image_side / 4});
  // A box's radius is an odd number up to sqrt(4 sigma^2 + 1), or the next odd one.
  const double box_radius = sigma > 0 ? std::floor(2 * sigma) + 4 : 0;
  return {erode_radius, static_cast<float>(sigma), box_radius};
}

// The part of the plane that the mask is made for. It has a rim around the place, for the filters
// to find zeros in and for their windows to fit, and goes so far beyond the image's borders that
// what they do at its own borders stays outside of the image. Throws std::bad_alloc if no int can
// count its columns and rows.
Rect mask_area(const Place& place, const ImageData& image, const SoftEdge& edge) {
  const double rim = edge.erode_radius + edge.box_radius + 1.0;
  const double beyond = edge.erode_radius + 3.0 * edge.box_radius + 1.0;
  const auto clip = [&](const Range& range, int size) {
    return Range{std::max(range.first - rim, -beyond), std::min(range.last + rim, size + beyond)};
  };
  const Range columns = clip(place.columns, image.width), rows = clip(place.rows, image.height);
  if (beyond + std::max(columns.last, rows.last) > std::numeric_limits<int>::max()) {
    throw std::bad_alloc();
  }
  return {static_cast<int>(columns.first), static_cast<int>(rows.first),
          static_cast<int>(columns.length()), static_cast<int>(rows.length())};
}

// The map of crop coordinates to those of the area of the image that begins at (x, y).
std::array<float, 6> map_to(int x, int y, const float* inverse) {
  return {inverse[0], inverse[1], inverse[2] - static_cast<float>(x),
          inverse[3], inverse[4], inverse[5] - static_cast<float>(y)};
}

using Plane = std::vector<unsigned char>;

// 255 where the crop alone determines a pixel of the area, else 0.
Plane crop_mask(const ImageData& crop, const float* inverse, const Rect& area) {
  const Plane white_row(crop.width, 255);
  Plane mask(static_cast<size_t>(area.width) * area.height);
  // All rows of the source are the same one.
  warpaffine_bilinear_c1(white_row.data(), crop.width, crop.height, 0, mask.data(), area.width,
                         area.height, area.width, map_to(area.x, area.y, inverse).data(), 2, 0);
  return mask;
}

// The mask shrunk and feathered. Empty if the blur failed, which has printed why.
Plane soften(const Plane& mask, const Rect& area, const SoftEdge& edge) {
  Plane soft = mask;
  unsigned char* const pixels = soft.data();
  if (edge.erode_radius > 0) {
    erode_mask(pixels, pixels, area.width, area.height, edge.erode_radius);
  }
  if (edge.sigma > 0 &&
      gaussian_blur_fast(pixels, pixels, area.width, area.height, edge.sigma) != 0) {
    return {};
  }
  return soft;
}

// old + (pasted - old) opacity / 255, rounded to nearest.
void blend_row(const unsigned char* pasted, const unsigned char* mask, const unsigned char* soft,
               unsigned char* image, int width) {
  for (int x = 0; x < width; ++x) {
    const int opacity = std::min(mask[x], soft[x]);
    for (int k = 4 * x; k < 4 * x + 4; ++k) {
      const int sum = pasted[k] * opacity + image[k] * (255 - opacity) + 128;
      image[k] = static_cast<unsigned char>((sum + (sum >> 8)) >> 8);  // (sum - 128) / 255
    }
  }
}

// The box that holds the mask's area in the image, in image coordinates.
Rect located(Plane& mask, const Rect& area, const ImageData& image) {
  int left, top, right, bottom;
  get_mask_pos({mask.data(), area.width, area.height, 1, area.width, 0, 0}, left, top, right,
               bottom, 0);
  if (left < 0) return {0, 0, 0, 0};
  const int x = std::max(left + area.x, 0), y = std::max(top + area.y, 0);
  return {x, y, std::min(right + area.x + 1, image.width) - x,
          std::min(bottom + area.y + 1, image.height) - y};
}

int paste(const ImageData& crop, const float* inverse, const ImageData& image, const Rect& area,
          const SoftEdge& edge) {
  Plane mask = crop_mask(crop, inverse, area);
  const Rect box = located(mask, area, image);
  if (box.width < 1 || box.height < 1) return 0;
  const Plane soft = soften(mask, area, edge);
  if (soft.empty()) return -1;
  // Replicated borders: in this grid, a pixel of the mask may lie outside by a rounding error.
  Scratch<unsigned char> pasted(box.height, static_cast<size_t>(box.width) * 4);
  warpaffine_bilinear_c4(crop.data, crop.width, crop.height, crop.stride, pasted.get(), box.width,
                         box.height, box.width * 4, map_to(box.x, box.y, inverse).data(), 1, 0);
  for (int y = 0; y < box.height; ++y) {
    const ptrdiff_t at = ptrdiff_t{box.y - area.y + y} * area.width + (box.x - area.x);
    blend_row(row_at(pasted.get(), y, box.width * 4), mask.data() + at, soft.data() + at,
              row_at(image.data, box.y + y, image.stride) + 4 * ptrdiff_t{box.x}, box.width);
  }
  return 0;
}

bool is_rgba(const ImageData& image) {
  return image.channels == 4 && image.stride / 4 >= image.width;
}

}  // namespace

int align_crop_img(const ImageData& src, const float* crop_points, const float* image_points, int n,
                   ImageData& dst, float* inverse) {
  float M[6];
  get_affine_transform(image_points, crop_points, n, M);
  warpaffine_bilinear_c4(src.data, src.width, src.height, src.stride, dst.data, dst.width,
                         dst.height, dst.stride, M, 0, 0);
  invert_affine_transform(M, inverse);
  return 0;
}

int align_back_img(const ImageData& crop, const float* inverse, ImageData& image, int erode_radius,
                   float feather_sigma) {
  if (crop.width < 1 || crop.height < 1 || image.width < 1 || image.height < 1) return 0;
  const bool radius_fits = erode_radius >= 0 && erode_radius - image.width <= image.height;
  if (!is_rgba(crop) || !is_rgba(image) || !radius_fits || !(feather_sigma >= 0)) {
    log_print("align_back_img arguments error!\n");
    return -1;
  }
  const Place place = place_of(crop, inverse);
  if (!is_within(place.columns, image.width) || !is_within(place.rows, image.height)) return 0;
  const double shorter_side = std::min(place.columns.length(), place.rows.length());
  if (2.0 * erode_radius + 1 > shorter_side) return 0;  // nothing would be left
  const SoftEdge edge = soft_edge_of(erode_radius, feather_sigma, place, image);
  try {
    return paste(crop, inverse, image, mask_area(place, image, edge), edge);
  } catch (const std::bad_alloc&) {
    log_print("align_back_img memory create error!\n");
    return -1;
  }
}

}  // namespace KelvraCV
