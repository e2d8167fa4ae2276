// contrast PHOTO FOLDER: local contrast (CLAHE) with three settings.
#include <cstdio>
#include <exception>

#include "pictures/picture.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: contrast PHOTO FOLDER\n");
    return 2;
  }
  try {
    const std::string folder = std::string(argv[2]) + "/contrast_";
    const Picture photo = load_picture(argv[1]);
    save_picture(photo, folder + "0_photo.jpg");

    // [clahe] Colour is equalised in its value channel only: hue and saturation stay.
    const auto equalised = [&](int tiles, float clip) {
      Picture result(photo.width, photo.height, 3);
      KelvraCV::ImageData to = result.view();
      KelvraCV::clahe(photo.view(), to, tiles, 256, clip);
      return result;
    };
    save_picture(equalised(8, 1.5f), folder + "1_gentle.jpg");
    save_picture(equalised(8, 4.0f), folder + "2_strong.jpg");
    save_picture(equalised(2, 4.0f), folder + "3_few_tiles.jpg");
    // [end]
    std::printf("three settings: %s*.jpg\n", folder.c_str());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "contrast: %s\n", error.what());
    return 1;
  }
}
