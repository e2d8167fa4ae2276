// detector PHOTO RESULT: from a camera frame to boxes drawn on it.
//
// The frame (NV21, as Android's cameras give it) becomes pixels, the pixels become a network's
// input tensor, the network's rows become boxes, and the boxes are drawn. The network is a
// stand-in: it reports windows that differ in colour from their surroundings.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <vector>

#include "pictures/picture.h"

namespace {

constexpr int kNetSize = 320, kWindow = 32, kClasses = 2;  // warm and cold things

struct Nv21Frame {
  int width, height;
  std::vector<uint8_t> y, vu;
};

// What a camera would deliver of this scene. Frames have even sizes: a last odd column or row is
// left out, unless it is the only one.
Nv21Frame camera_frame(const Picture& scene) {
  const int width = std::max(scene.width & ~1, 2), height = std::max(scene.height & ~1, 2);
  const size_t size = static_cast<size_t>(width) * height;
  Nv21Frame frame{width, height, std::vector<uint8_t>(size), std::vector<uint8_t>(size / 2)};
  const size_t scene_size = static_cast<size_t>(scene.width) * scene.height;
  std::vector<uint8_t> planes(3 * scene_size);
  KelvraCV::rgb_to_ycbcr(scene.data(), planes.data(), scene.width, scene.height, scene.stride(),
                         true);
  const auto at = [&](int plane, int x, int y) {
    x = std::min(x, scene.width - 1);
    y = std::min(y, scene.height - 1);
    return planes[plane * scene_size + static_cast<size_t>(y) * scene.width + x];
  };
  auto luma = frame.y.begin(), chroma = frame.vu.begin();
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) *luma++ = at(0, x, y);
  }
  for (int y = 0; y < height; y += 2) {
    for (int x = 0; x < width; x += 2) {
      *chroma++ = at(2, x, y);
      *chroma++ = at(1, x, y);
    }
  }
  return frame;
}

// Mean of one plane of the tensor over a window.
float mean(const float* plane, int left, int top, int size) {
  float sum = 0;
  for (int y = top; y < top + size; ++y) {
    for (int x = left; x < left + size; ++x) sum += plane[y * kNetSize + x];
  }
  return sum / static_cast<float>(size * size);
}

// Rows of centre, size, objectness and class scores.
std::vector<float> stand_in_network(const std::vector<float>& tensor, int width, int height) {
  const float* const red = tensor.data();
  const float* const blue = red + 2 * kNetSize * kNetSize;
  std::vector<float> rows;
  constexpr int kAround = 2 * kWindow;
  for (int top = 0; top + kAround <= height; top += 8) {
    for (int left = 0; left + kAround <= width; left += 8) {
      const int x = left + kWindow / 2, y = top + kWindow / 2;
      const float warmth = mean(red, x, y, kWindow) - mean(blue, x, y, kWindow);
      const float around = mean(red, left, top, kAround) - mean(blue, left, top, kAround);
      const float difference = 4 * (warmth - around);
      rows.insert(rows.end(),
                  {static_cast<float>(x) + kWindow / 2.0f, static_cast<float>(y) + kWindow / 2.0f,
                   kWindow, kWindow, std::min(1.0f, std::abs(difference)),
                   difference > 0 ? 1.0f : 0.0f, difference < 0 ? 1.0f : 0.0f});
    }
  }
  return rows;
}

void draw_box(Picture& bgra, const KelvraCV::BBox& box, float scale) {
  const auto at = [&](float edge, int limit) {
    return std::clamp(static_cast<int>(edge * scale), 0, limit - 1);
  };
  const int left = at(box.x1, bgra.width), right = at(box.x2, bgra.width);
  const int top = at(box.y1, bgra.height), bottom = at(box.y2, bgra.height);
  const auto mark = [&](int x, int y) {
    uint8_t* const pixel = bgra.data() + static_cast<size_t>(y) * bgra.stride() + 4 * x;
    pixel[0] = box.label == 1 ? 255 : 0;
    pixel[1] = 64;
    pixel[2] = box.label == 0 ? 255 : 0;
  };
  for (int x = left; x <= right; ++x) mark(x, top), mark(x, bottom);
  for (int y = top; y <= bottom; ++y) mark(left, y), mark(right, y);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: detector PHOTO RESULT, a .png or .jpg\n");
    return 2;
  }
  try {
    const Nv21Frame frame = camera_frame(load_picture(argv[1]));
    Picture bgra(frame.width, frame.height, 4);
    KelvraCV::convert_nv21_argb(frame.y.data(), frame.width, frame.vu.data(), frame.width,
                                bgra.data(), bgra.stride(), frame.width, frame.height, false);

    KelvraCV::ImageData image = bgra.view();
    image.color_order = 1;  // B, G, R, A in memory: the tensor's first plane becomes red
    std::vector<float> tensor(3 * kNetSize * kNetSize);
    float scale = 1, zero[] = {0, 0, 0}, full[] = {255, 255, 255};
    KelvraCV::object_detetion_preprocess(image, kNetSize, kNetSize, tensor.data(), scale, zero,
                                         full, true, true, true);

    const auto rows =
        stand_in_network(tensor, static_cast<int>(static_cast<float>(frame.width) / scale),
                         static_cast<int>(static_cast<float>(frame.height) / scale));
    std::vector<KelvraCV::BBox> boxes;
    KelvraCV::object_detetion_postprocess(
        rows.data(), static_cast<int>(rows.size() / (5 + kClasses)), kClasses, boxes, 0.15f, 0.2f);
    for (const KelvraCV::BBox& box : boxes) draw_box(bgra, box, scale);

    Picture result(frame.width, frame.height, 3);
    KelvraCV::convert_c4_to_c3(bgra.data(), result.data(), frame.width, frame.height, bgra.stride(),
                               result.stride(), 1);
    save_picture(result, argv[2]);
    std::printf("%zu boxes drawn: %s\n", boxes.size(), argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "detector: %s\n", error.what());
    return 1;
  }
}
