#include "detect/detect_rules.h"
#include "support/images.h"

using namespace KelvraCV;
using namespace test;

namespace {

struct Call {
  int width, height, channels, net_width, net_height;
  bool planar, normalize, keep_order;
  int color_order = 0;
};

float g_mean[] = {10, 20.5f, 30}, g_deviation[] = {3, 7, 0.9f};

std::vector<float> tensor_of(const Call& call, float& scale) {
  GuardedBuffer<> pixels(call.width * call.channels, call.height, 5);
  pixels.fill(picture(call.width, call.height, call.channels));
  ImageData image = image_of(pixels, call.channels);
  image.color_order = call.color_order;
  GuardedBuffer<float> tensor(call.net_width * 3, call.net_height);
  tensor.fill(std::vector<float>(static_cast<size_t>(call.net_width) * call.net_height * 3, -1.0f));
  object_detetion_preprocess(image, call.net_width, call.net_height, tensor.data(), scale, g_mean,
                             g_deviation, call.planar, call.normalize, call.keep_order);
  return tensor.packed();
}

std::vector<float> expected(const Call& call) {
  const PlainTensor plain{call.net_width, call.net_height,
                          call.planar,    call.normalize ? g_mean : nullptr,
                          g_deviation,    call.keep_order};
  return plain.of(picture(call.width, call.height, call.channels), call.width, call.height,
                  call.channels, call.color_order);
}

}  // namespace

TEST(Preprocess, Sizes) {
  struct {
    int width, height, net_width, net_height;
    float scale;
  } const cases[] = {{128, 72, 64, 64, 2},        {72, 128, 64, 32, 4},
                     {5, 5, 33, 17, 5.0f / 17},   {1, 100, 30, 30, 100.0f / 30},
                     {100, 1, 9, 30, 100.0f / 9}, {1, 1, 1, 1, 1}};
  for (const auto& c : cases) {
    const Call call{c.width, c.height, 3, c.net_width, c.net_height, true, true, true};
    float scale = 0;
    const auto tensor = tensor_of(call, scale);
    EXPECT_EQ(scale, c.scale);
    EXPECT_EQ(tensor, expected(call));
  }
}

TEST(Preprocess, AnEmptyImageGivesZeros) {
  float tensor[13], scale = 6;
  std::fill_n(tensor, 13, 5.0f);
  object_detetion_preprocess({nullptr, 0, 0, 3, 0, 0, 0}, 2, 2, tensor, scale, nullptr, nullptr,
                             true, false, true);
  EXPECT_EQ(scale, 0);
  EXPECT_EQ(std::count(tensor, tensor + 12, 0.0f), 12);
  EXPECT_EQ(tensor[12], 5);
}

TEST(Preprocess, OtherChannelCountsWriteNothing) {
  uint8_t pixels[16] = {};
  float tensor[12] = {5}, scale = 6;
  for (const int channels : {1, 2, 5}) {
    const ImageData image{pixels, 2, 2, channels, 8, 0, 0};
    object_detetion_preprocess(image, 2, 2, tensor, scale, nullptr, nullptr, true, false, true);
  }
  EXPECT_EQ(tensor[0], 5);
  EXPECT_EQ(scale, 6);
}

TEST(Preprocess, Golden) {
  float scale = 0;
  expect_golden("object_detetion_preprocess",
                tensor_of({150, 101, 4, 96, 80, true, true, false, 1}, scale));
}
