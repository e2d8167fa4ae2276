// blurs PHOTO FOLDER: the blurs of the library on one photo, with what each costs.
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>

#include "pictures/picture.h"

namespace {

using Channel = std::vector<uint8_t>;

// Blurs that work on one channel are called for each.
Picture by_channel(const Picture& photo, const std::function<void(Channel&)>& blur) {
  std::vector<Channel> channels(3, Channel(static_cast<size_t>(photo.width) * photo.height));
  std::vector<KelvraCV::ImageData> planes;
  for (Channel& c : channels) {
    planes.push_back({c.data(), photo.width, photo.height, 1, photo.width, 0, 0});
  }
  KelvraCV::split_channels(photo.view(), planes);
  for (Channel& c : channels) blur(c);
  Picture result(photo.width, photo.height, 3);
  KelvraCV::ImageData to = result.view();
  KelvraCV::merge_channels(planes, to);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: blurs PHOTO FOLDER\n");
    return 2;
  }
  try {
    const std::string folder = std::string(argv[2]) + "/blurs_";
    const Picture photo = load_picture(argv[1]);
    const int w = photo.width, h = photo.height;
    const auto show = [&](const char* name, const std::function<Picture()>& blur) {
      const auto start = std::chrono::steady_clock::now();
      const Picture result = blur();
      const std::chrono::duration<double, std::milli> taken =
          std::chrono::steady_clock::now() - start;
      std::printf("%-10s %7.2f ms a megapixel\n", name, taken.count() * 1e6 / w / h);
      save_picture(result, folder + name + ".jpg");
    };
    const auto out_of_place = [&](auto function) {
      return [&photo, function] {
        return by_channel(photo, [&](Channel& channel) {
          const Channel source = channel;
          function(source.data(), channel.data());
        });
      };
    };

    // [binomial] Fixed kernels of integers: takes off noise.
    show("binomial", out_of_place([=](const uint8_t* src, uint8_t* dst) {
           KelvraCV::gaussian_blur_5x5(src, dst, w, h);
         }));
    // [gaussian] Any kernel; the cost grows with its size.
    show("gaussian", out_of_place([=](const uint8_t* src, uint8_t* dst) {
           KelvraCV::gaussian_blur(src, dst, w, h, 31, 5.0f);
         }));
    // [fast] Three box means: as cheap for 50 pixels as for 5.
    show("fast", out_of_place([=](const uint8_t* src, uint8_t* dst) {
           KelvraCV::gaussian_blur_fast(src, dst, w, h, 2.5f);
         }));
    // [box] One mean: cheapest, with corners.
    show("box", out_of_place([=](const uint8_t* src, uint8_t* dst) {
           KelvraCV::filter_box(src, dst, w, h, 8);
         }));
    // [guided] Keeps the edges of what it smooths.
    show("guided", [&] {
      Picture result(w, h, 3);
      KelvraCV::ImageData to = result.view();
      KelvraCV::guided_filter_self(photo.view(), to, 8, 1.0f, 0.01f);
      return result;
    });
    // [bilateral] The same purpose, recursive: reaches far at a fixed cost.
    show("bilateral", [&] {
      Picture result(w, h, 3);
      KelvraCV::ImageData to = result.view();
      KelvraCV::bilateral_filter(photo.view(), to, 0.03f, 0.1f);
      return result;
    });
    // [end]
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "blurs: %s\n", error.what());
    return 1;
  }
}
