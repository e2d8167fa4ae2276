#include "operations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "support/captured_log.h"

namespace {

using operations::Image;
using operations::Operation;

std::string text_of(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Smooth areas, a bright disc and noise: something for every operation.
Image scene(int width, int height, int channels) {
  Image image(width, height, channels);
  std::minstd_rand random(7);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int dx = 2 * x - width, dy = 2 * y - height;
      const bool disc = 4 * (dx * dx + dy * dy) < width * height;
      for (int c = 0; c < channels; ++c) {
        image.at(x, y)[c] = static_cast<uint8_t>((disc ? 200 : 40 + 10 * c) + random() % 20);
      }
    }
  }
  return image;
}

std::string usage_error(const std::string& chain) {
  try {
    operations::parse_chain(chain);
  } catch (const operations::UsageError& error) {
    return error.what();
  }
  return "no error";
}

TEST(Table, HasEveryFunctionThatMakesAPictureOrFindsSomething) {
  // What is no operation on a picture, by reason.
  const std::set<std::string> others = {
      // messages, versions, files and bytes
      "log_set_callback", "log_print", "get_version", "get_cpu_core_num", "read_file_into_buffer",
      "parse_file_float", "bytes_to_string", "bytes_to_int", "add_png_info", "remove_png_info",
      "add_jpeg_info",
      // tables for other functions
      "init_rgb_to_lab_fast", "init_lab_to_rgb_fast",
      // matrices from matrices or from many points, questions about a point, lists of boxes
      "invert_affine_transform", "invert_perspective_transform", "is_inside_poly", "get_anchors",
      // samples that are no bytes
      "resize_bilinear_c1_float"};
  std::set<std::string> entered;
  for (const Operation& operation : operations::table()) {
    entered.insert(operation.functions.begin(), operation.functions.end());
  }
  const std::string header = text_of(KELVRA_CV_SOURCE_FOLDER "/include/kelvra_cv.h");
  const std::regex declaration(R"(\n(?:[a-z]+ )*[a-z:]+[ *&]+(\w+)\()");
  size_t count = 0;
  std::string calls;
  for (const auto& file :
       std::filesystem::directory_iterator(KELVRA_CV_SOURCE_FOLDER "/operations")) {
    if (file.path().extension() == ".cpp") calls += text_of(file.path());
  }
  // An entry's own text of its call in C++ is no call.
  calls = std::regex_replace(calls, std::regex(R"("[^"\n]*")"), "");
  for (std::sregex_iterator found(header.begin(), header.end(), declaration), end; found != end;
       ++found, ++count) {
    const std::string name = (*found)[1];
    EXPECT_NE(entered.count(name), others.count(name)) << name;
    if (entered.count(name) != 0) {
      EXPECT_TRUE(std::regex_search(calls, std::regex("KelvraCV::" + name + "\\b"))) << name;
    }
  }
  EXPECT_GE(count, 99u);
}

TEST(Table, EveryOperationWorksOnEveryPictureOrSaysWhyNot) {
  test::CapturedLog log;
  size_t results = 0;
  const auto run = [&](const Operation& operation, const operations::Chain& chain,
                       const Image& image) {
    const std::string shown = operations::to_text(chain) + " on " + std::to_string(image.width) +
                              "x" + std::to_string(image.height) + "x" +
                              std::to_string(image.channels);
    try {
      const Image result = operations::run(chain, image);
      ASSERT_TRUE(result.channels == 1 || result.channels == 3 || result.channels == 4) << shown;
      ASSERT_EQ(result.pixels.size(),
                static_cast<size_t>(result.width) * result.height * result.channels)
          << shown;
      ASSERT_GT(result.pixels.size(), 0u) << shown;
      EXPECT_TRUE(result.pixels == operations::run(chain, image).pixels) << shown;
      if (operation.find) {
        const auto found = operations::find(chain, image);
        for (const auto& row : found.rows) ASSERT_EQ(row.size(), found.columns.size()) << shown;
      }
      ++results;
    } catch (const operations::WorkError& error) {
      EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos) << shown;
    }
    ASSERT_EQ(log.take(), test::Messages{}) << shown;
  };
  for (const Operation& operation : operations::table()) {
    for (const int channels : {1, 3, 4}) {
      for (const auto& [width, height] : {std::pair{1, 1}, {2, 5}, {9, 1}, {70, 51}}) {
        run(operation, operations::single_step(operation, {}), scene(width, height, channels));
      }
    }
    // Each parameter at its ends and at each of its choices.
    for (const auto& parameter : operation.parameters) {
      std::vector<std::string> values = parameter.choices;
      if (parameter.type == operations::Type::kSwitch) values = {"on", "off"};
      if (parameter.type == operations::Type::kSize) values = {"0.1%", "250%", "1", "3x200", "100"};
      if (values.empty()) {
        for (const double value : {parameter.min, parameter.max}) {
          std::ostringstream text;
          text << std::setprecision(12) << value;
          values.push_back(text.str());
        }
      }
      for (const std::string& value : values) {
        try {
          const auto chain = operations::single_step(operation, {{parameter.name, value}});
          run(operation, chain, scene(33, 20, 3));
        } catch (const operations::UsageError&) {
          ASSERT_TRUE(operation.check) << operation.name << " " << parameter.name << " " << value;
        }
      }
    }
  }
  EXPECT_GT(results, 500u);
}

TEST(Table, DifferentOperationsRunAtTheSameTime) {
  const Image picture = scene(70, 51, 3);
  std::vector<operations::Chain> chains;
  std::vector<std::vector<uint8_t>> alone;
  for (const Operation& operation : operations::table()) {
    const auto chain = operations::single_step(operation, {});
    try {
      alone.push_back(operations::run(chain, picture).pixels);
      chains.push_back(chain);
    } catch (const operations::WorkError&) {
    }
  }
  const size_t count = chains.size(), kThreads = 4;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (size_t i = 0; i < count; ++i) {
        const size_t k = (i + t * count / kThreads) % count;
        if (operations::run(chains[k], picture).pixels != alone[k]) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(Chain, DoesWhatTheFunctionsDo) {
  const Image photo = scene(64, 48, 3);
  Image half(32, 24, 3), expected = half;
  KelvraCV::resize_bilinear_c3(photo.data(), half.data(), 64, 48, 192, 32, 24, 96);
  KelvraCV::ImageData out{expected.data(), 32, 24, 3, 96, 0, 0};
  KelvraCV::clahe({half.data(), 32, 24, 3, 96, 0, 0}, out, 8, 256, 2.5f);
  const auto chain = operations::parse_chain("resize 50% |clahe clip=2.5, tiles=8");
  EXPECT_EQ(operations::run(chain, photo).pixels, expected.pixels);
  EXPECT_EQ(operations::to_text(chain), "resize | clahe clip=2.5");
  EXPECT_EQ(operations::to_cpp(chain.steps[1]), "KelvraCV::clahe(src, dst, 8, 256, 2.5);");

  const auto corners = operations::find(operations::parse_chain("corners 10 off"), photo);
  EXPECT_EQ(corners.columns, (std::vector<std::string>{"x", "y", "response"}));
  std::vector<KelvraCV::KeyPoint> direct;
  KelvraCV::fast_9_16(photo.data(), direct, 64, 48, 3, 192, 0, 10, false, nullptr);
  EXPECT_EQ(corners.rows.size(), direct.size());
}

TEST(Chain, CarriesAlphaAndMeansWhatItSays) {
  const Image photo = scene(40, 40, 4);
  const auto alpha = [](const Image& image) {
    return operations::run(operations::parse_chain("channel 4"), image).pixels;
  };
  for (const char* chain : {"gaussian", "box", "guided", "clahe", "swap_channels", "max"}) {
    EXPECT_EQ(alpha(operations::run(operations::parse_chain(chain), photo)), alpha(photo)) << chain;
  }
  // Sizes, and parts that reach the picture's edges.
  const auto size = [&](const std::string& chain) {
    const Image result = operations::run(operations::parse_chain(chain), scene(300, 200, 3));
    return std::pair(result.width, result.height);
  };
  EXPECT_EQ(size("resize 60"), std::pair(60, 40));
  EXPECT_EQ(size("resize 7x9"), std::pair(7, 9));
  EXPECT_EQ(size("shrink 100"), std::pair(100, 67));
  EXPECT_EQ(size("shrink 400"), std::pair(300, 200));
  EXPECT_EQ(size("turn"), std::pair(200, 300));
  EXPECT_EQ(size("pyramid 2"), std::pair(75, 50));
  EXPECT_EQ(operations::run(operations::parse_chain("crop 0 0 100 100"), photo).pixels,
            photo.pixels);
  // A disc in the middle is one blob and one box there.
  const auto blobs = operations::find(operations::parse_chain("blobs 127"), scene(100, 80, 1));
  ASSERT_EQ(blobs.rows.size(), 1u);
  EXPECT_NEAR(blobs.rows[0][0], 50, 1);
  EXPECT_NEAR(blobs.rows[0][1], 40, 1);
  EXPECT_EQ(operations::find(operations::parse_chain("boxes"), scene(100, 80, 1)).rows.size(), 1u);
}

TEST(Chain, ErrorsNameTheArgumentAndWhatIsWanted) {
  const std::map<std::string, std::string> errors = {
      {"", "an operation is missing: wanted one between bars"},
      {"gray | | box", "an operation is missing: wanted one between bars"},
      {"clahee", "there is no operation \"clahee\"; is clahe meant?"},
      {"xyzzyplugh", "there is no operation \"xyzzyplugh\""},
      {"a\nb", "there is no operation \"a\""},
      {"clahe clip=x", "clahe: clip is \"x\"; wanted a number from 0.1 to 100"},
      {"clahe clip=nan", "clahe: clip is \"nan\"; wanted a number from 0.1 to 100"},
      {"clahe 8.5", "clahe: tiles is \"8.5\"; wanted a whole number from 2 to 16"},
      {"clahe 99999999999999999999",
       "clahe: tiles is \"99999999999999999999\"; wanted a whole number from 2 to 16"},
      {"clahe 2 clip=3 tiles=2", "clahe: tiles is given twice"},
      {"clahe size=2", "clahe has no parameter \"size\": it has tiles bins clip"},
      {"gray 1", "gray: \"1\" is one value too many: it has 0"},
      {"resize 0%",
       "resize: size is \"0%\"; wanted a size such as 50%, 1280 (the longer side) or "
       "640x480"},
      {"resize 10 cubic", "resize: filter is \"cubic\"; wanted one of bilinear, nearest, bicubic"},
      {"corners suppress=maybe", "corners: suppress is \"maybe\"; wanted on or off"},
      {"canny 100 50", "canny: low is 100; wanted less than high, which is 50"}};
  for (const auto& [chain, message] : errors) {
    EXPECT_EQ(usage_error(chain).substr(0, message.size()), message) << chain;
  }
  std::string long_chain = "gray";
  for (int i = 0; i < 64; ++i) long_chain += "|gray";
  EXPECT_EQ(usage_error(long_chain), "the chain has more than 64 operations");
  // Any text at all is a chain or a usage error.
  std::minstd_rand random(1);
  const std::string alphabet = "resizeclahe |=,%x0123456789.-\n\t\xff";
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 30, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    usage_error(text);
  }
}

TEST(Chain, RefusesPicturesThatAreNone) {
  const auto chain = operations::parse_chain("resize 1600%");
  Image short_one = scene(4, 4, 3), two = scene(4, 4, 1);
  short_one.pixels.pop_back();
  two.channels = 2;
  for (const Image& image : {Image(), short_one, two, Image(30000, 1, 1)}) {
    EXPECT_THROW(operations::run(chain, image), operations::WorkError);
  }
}

TEST(Frames, OneFrameInEveryLayoutIsOnePicture) {
  constexpr int kWidth = 7, kHeight = 5, kLuma = kWidth * kHeight, kChroma = 4 * 3;
  std::vector<uint8_t> y(kLuma), u(kChroma), v(kChroma);
  for (int i = 0; i < kLuma; ++i) y[i] = static_cast<uint8_t>(30 + 5 * i);
  for (int i = 0; i < kChroma; ++i)
    u[i] = static_cast<uint8_t>(90 + i), v[i] = static_cast<uint8_t>(200 - i);
  std::map<std::string, std::vector<uint8_t>> frames{
      {"i420", y}, {"yv12", y}, {"nv12", y}, {"nv21", y}};
  frames["i420"].insert(frames["i420"].end(), u.begin(), u.end());
  frames["i420"].insert(frames["i420"].end(), v.begin(), v.end());
  frames["yv12"].insert(frames["yv12"].end(), v.begin(), v.end());
  frames["yv12"].insert(frames["yv12"].end(), u.begin(), u.end());
  for (int i = 0; i < kChroma; ++i) {
    frames["nv12"].insert(frames["nv12"].end(), {u[i], v[i]});
    frames["nv21"].insert(frames["nv21"].end(), {v[i], u[i]});
  }
  const Image first = operations::frame_picture("i420", kWidth, kHeight, frames["i420"]);
  EXPECT_GT(first.pixels[0], first.pixels[2]);  // much V is red
  for (const auto& [layout, bytes] : frames) {
    EXPECT_EQ(operations::frame_picture(layout, kWidth, kHeight, bytes).pixels, first.pixels);
  }
  y.pop_back();
  EXPECT_THROW(operations::frame_picture("i420", kWidth, kHeight, y), operations::WorkError);
  EXPECT_THROW(operations::frame_picture("rgb", 1, 1, y), operations::UsageError);
  EXPECT_THROW(operations::frame_picture("nv21", -1, 1, y), operations::UsageError);
}

}  // namespace
