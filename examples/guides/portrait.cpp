// portrait PHOTO FOLDER: cuts a subject out upright, works on it, and pastes it back without a
// seam.
#include <cstdio>
#include <exception>

#include "pictures/picture.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: portrait PHOTO FOLDER\n");
    return 2;
  }
  try {
    const std::string folder = std::string(argv[2]) + "/portrait_";
    Picture photo = with_alpha(load_picture(argv[1]));

    // [align] Where landmarks are in the photo, as a detector tells, and where they shall be in the
    // crop: here the left, right and upper end of a ladybird.
    const auto w = static_cast<float>(photo.width), h = static_cast<float>(photo.height);
    const float in_photo[] = {0.667f * w, 0.53f * h, 0.745f * w, 0.54f * h, 0.70f * w, 0.45f * h};
    const float in_crop[] = {110, 330, 400, 330, 250, 130};
    Picture crop(512, 512, 4);
    KelvraCV::ImageData to_crop = crop.view();
    float back[6];
    KelvraCV::align_crop_img(photo.view(), in_crop, in_photo, 3, to_crop, back);
    save_picture(without_alpha(crop), folder + "1_crop.jpg");

    // [process] Whatever an application does to a face: here smoothing that keeps edges.
    Picture smooth(512, 512, 4);
    KelvraCV::ImageData to_smooth = smooth.view();
    KelvraCV::guided_filter_self(crop.view(), to_smooth, 12, 1.0f, 0.02f);
    save_picture(without_alpha(smooth), folder + "2_smooth.jpg");

    // [paste] The edge is feathered: shrink by as much as the feather reaches.
    KelvraCV::ImageData whole = photo.view();
    KelvraCV::align_back_img(smooth.view(), back, whole, 24, 4.0f);
    // [end]
    save_picture(without_alpha(photo), folder + "3_pasted.jpg");
    std::printf("cut out, smoothed and pasted back: %s3_pasted.jpg\n", folder.c_str());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "portrait: %s\n", error.what());
    return 1;
  }
}
