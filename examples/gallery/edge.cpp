#include "gallery/gallery.h"

void add_edge(Gallery& gallery) {
  gallery.heading("Edges and contrast");
  const Picture& photo = gallery.photo();
  const Picture gray = gray_photo(gallery);
  Picture edges(gray.width, gray.height, 1);
  gallery.add(
      "sobel_edge, threshold 100", edges,
      [&] { KelvraCV::sobel_edge(gray.data(), edges.data(), gray.width, gray.height, 100); },
      &gray);
  gallery.add("canny, thresholds 60 and 150", edges, [&] {
    KelvraCV::ImageData out = edges.view();
    KelvraCV::canny(photo.view(), out, 60, 150);
  });
  const Picture equalised(photo.width, photo.height, 3);
  gallery.add("clahe, 8 x 8 regions, clip 3", equalised, [&] {
    KelvraCV::ImageData out = equalised.view();
    KelvraCV::clahe(photo.view(), out, 8, 256, 3);
  });

  // Three levels of the pyramid side by side.
  std::vector<Picture> levels(3, photo);
  std::vector<KelvraCV::ImageData> records;
  for (const Picture& level : levels) records.push_back(level.view());
  const auto build = [&] { KelvraCV::pyramid_gauss(photo.view(), records); };
  build();
  Picture shown(photo.width + records[1].width + records[2].width, photo.height, 3);
  int left = 0;
  for (const KelvraCV::ImageData& level : records) {
    for (int y = 0; y < level.height; ++y) {
      std::copy_n(level.data + y * level.stride, 3 * level.width,
                  shown.data() + y * shown.stride() + 3 * left);
    }
    left += level.width;
  }
  gallery.add("pyramid_gauss, three levels", shown, build);
}
