#include <algorithm>

#include "gallery/gallery.h"

namespace {

using Outline = std::vector<KelvraCV::Point>;

// The brighter half of the photo, without specks.
Picture bright_mask(const Gallery& gallery) {
  const Picture gray = gray_photo(gallery);
  Picture smooth(gray.width, gray.height, 1), mask(gray.width, gray.height, 1);
  KelvraCV::filter_box(gray.data(), smooth.data(), gray.width, gray.height, 6);
  KelvraCV::threshold(smooth.data(), mask.data(), gray.width, gray.height, 127, 255);
  return mask;
}

Picture dimmed(const Picture& mask) {
  Picture rgb(mask.width, mask.height, 3);
  for (size_t i = 0; i < rgb.pixels.size(); ++i) rgb.pixels[i] = mask.pixels[i / 3] / 3;
  return rgb;
}

void mark(Picture& rgb, const KelvraCV::Point& point, int reach, uint8_t red, uint8_t green) {
  for (int y = std::max(point.y - reach, 0); y <= std::min(point.y + reach, rgb.height - 1); ++y) {
    for (int x = std::max(point.x - reach, 0); x <= std::min(point.x + reach, rgb.width - 1); ++x) {
      uint8_t* const pixel = rgb.data() + y * rgb.stride() + 3 * x;
      pixel[0] = red, pixel[1] = green, pixel[2] = 0;
    }
  }
}

void add_outlines(Gallery& gallery, const Picture& mask) {
  std::vector<Outline> outlines;
  const auto find = [&] {
    KelvraCV::find_blob_contours(mask.data(), outlines, mask.width, mask.height, mask.stride(), 0,
                                 1);
  };
  find();
  Picture drawn = dimmed(mask);
  for (const Outline& outline : outlines) {
    for (const auto& point : outline) mark(drawn, point, 0, 255, 160);
  }
  gallery.add("find_blob_contours, external, all points", drawn, find, &mask);

  // The longest outline with fewer points, filled.
  const auto longest =
      std::max_element(outlines.begin(), outlines.end(),
                       [](const Outline& a, const Outline& b) { return a.size() < b.size(); });
  if (longest == outlines.end()) return;
  Outline simple;
  KelvraCV::approx_poly_dp(*longest, simple, 6, true);
  std::vector<int> xs, ys;
  for (const auto& point : simple) xs.push_back(point.x), ys.push_back(point.y);
  Picture polygon(mask.width, mask.height, 1);
  gallery.add(
      "approx_poly_dp, epsilon 6: " + std::to_string(simple.size()) + " points of " +
          std::to_string(longest->size()) + ", filled by fill_poly",
      polygon,
      [&] {
        KelvraCV::approx_poly_dp(*longest, simple, 6, true);
        KelvraCV::fill_poly(polygon.data(), polygon.width, xs.data(), ys.data(),
                            static_cast<int>(xs.size()));
      },
      &drawn);
}

void add_blobs(Gallery& gallery, const Picture& mask) {
  std::vector<Outline> outlines;
  KelvraCV::find_blob_contours(mask.data(), outlines, mask.width, mask.height, mask.stride(), 0, 1);
  KelvraCV::BlobParams params{};
  params.by_area = true;
  params.min_area = 200;
  params.max_area = mask.width * mask.height;
  std::vector<KelvraCV::Center> centers;
  const auto filter = [&] {
    centers.clear();
    KelvraCV::filter_blobs(mask.data(), mask.width, outlines, centers, params);
  };
  filter();
  Picture drawn = dimmed(mask);
  for (const auto& center : centers) mark(drawn, {center.x, center.y}, 3, 0, 255);
  gallery.add("filter_blobs, area from 200: " + std::to_string(centers.size()) + " centres", drawn,
              filter, &mask);
}

void add_fill(Gallery& gallery) {
  const Picture rgba = with_alpha(gallery.photo());
  Picture mask(rgba.width, rgba.height, 1);
  KelvraCV::Rect rect{};
  gallery.add("flood_fill from the upper middle, threshold 40", mask, [&] {
    KelvraCV::ImageData out = mask.view();
    KelvraCV::flood_fill(rgba.view(), out, {rgba.width / 2, rgba.height / 8}, rect, 0, 40);
  });
}

}  // namespace

void add_shape(Gallery& gallery) {
  gallery.heading("Shapes");
  const Picture mask = bright_mask(gallery);
  add_outlines(gallery, mask);
  add_blobs(gallery, mask);
  add_fill(gallery);
}
