// outline PHOTO FOLDER: from a photo to the outline of its subject, in five steps.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "pictures/picture.h"

namespace {

using Outline = std::vector<KelvraCV::Point>;

// Squares of seven pixels along the line.
void draw_line(Picture& rgb, KelvraCV::Point from, KelvraCV::Point to) {
  const int steps = std::max({std::abs(to.x - from.x), std::abs(to.y - from.y), 1});
  for (int i = 0; i <= steps; ++i) {
    const int x = from.x + (to.x - from.x) * i / steps, y = from.y + (to.y - from.y) * i / steps;
    for (int v = std::max(y - 3, 0); v < std::min(y + 4, rgb.height); ++v) {
      for (int u = std::max(x - 3, 0); u < std::min(x + 4, rgb.width); ++u) {
        uint8_t* const pixel = rgb.data() + size_t{3} * (size_t{1} * v * rgb.width + u);
        pixel[0] = 0, pixel[1] = 160, pixel[2] = 255;
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: outline PHOTO FOLDER\n");
    return 2;
  }
  try {
    const std::string folder = std::string(argv[2]) + "/outline_";
    Picture photo = load_picture(argv[1]);
    const int width = photo.width, height = photo.height;

    // [subject] A flower against the dark: what is brighter than 70 is the subject.
    Picture gray(width, height, 1), mask(width, height, 1);
    KelvraCV::rgb2gray(photo.data(), gray.data(), width, height, photo.stride(), width);
    KelvraCV::threshold(gray.data(), mask.data(), width, height, 70, 255);
    save_picture(mask, folder + "1_mask.png");

    // [clean] An opening (erosion, then dilation) drops specks, a closing fills holes.
    Picture clean(width, height, 1);
    KelvraCV::erode_mask(mask.data(), clean.data(), width, height, 3);
    KelvraCV::dilate_mask(clean.data(), clean.data(), width, height, 20);
    KelvraCV::erode_mask(clean.data(), clean.data(), width, height, 17);
    save_picture(clean, folder + "2_clean.png");

    // [trace] External outlines only (0), with all of their points (1).
    std::vector<Outline> outlines;
    KelvraCV::find_blob_contours(clean.data(), outlines, width, height, width, 0, 1);

    // [simplify] Within 4 pixels of the traced points; small outlines go.
    size_t traced = 0, kept = 0;
    for (const Outline& outline : outlines) {
      if (outline.size() < 200) continue;
      Outline simple;
      KelvraCV::approx_poly_dp(outline, simple, 4.0, true);
      traced += outline.size(), kept += simple.size();
      for (size_t i = 0; i < simple.size(); ++i) {
        draw_line(photo, simple[i], simple[(i + 1) % simple.size()]);
      }
    }
    // [end]
    save_picture(photo, folder + "3_outline.jpg");
    std::printf("%zu points traced, %zu kept: %s3_outline.jpg\n", traced, kept, folder.c_str());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "outline: %s\n", error.what());
    return 1;
  }
}
