#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "support/captured_log.h"
#include "support/images.h"
#include "support/temporary_folder.h"

using namespace KelvraCV;
using test::CapturedLog;
using test::Messages;

namespace {

const std::string kPngStart = "\x89PNG\r\n\x1a\n";
const std::string kJpegStart = "\xff\xd8", kJpegEnd = "\xff\xd9";

std::string chunk(const std::string& type, const std::string& data) {
  const auto n = static_cast<uint32_t>(data.size());
  const char length[4] = {char(n >> 24), char(n >> 16), char(n >> 8), char(n)};
  return std::string(length, 4) + type + data + "csum";
}

const std::string kHeader = kPngStart + chunk("IHDR", "thirteen byte");
const std::string kImage = chunk("IDAT", "pixels") + chunk("IEND", "");

std::string segment(int code, const std::string& payload) {
  const size_t length = payload.size() + 2;
  return std::string{'\xff', char(code), char(length >> 8), char(length)} + payload;
}
std::string profile(const std::string& content) {
  return segment(0xe2, std::string("ICC_PROFILE\0", 12) + content);
}
const std::string kJfif = segment(0xe0, "JFIF 14 bytes.");
const std::string kScan = segment(0xda, "scan header") + "entropy coded \xff\x01" + kJpegEnd;

using Call = std::function<int(const char*, const char*, const char*)>;

class Meta : public testing::Test, protected test::TemporaryFolder {
 protected:
  // The output for these contents; "failed" if the call says so.
  std::string spliced(const Call& call, const std::string& origin, const std::string& input) {
    write("origin", origin);
    write("input", input);
    std::filesystem::remove(path("output"));
    const int status = call(path("origin").c_str(), path("input").c_str(), path("output").c_str());
    EXPECT_EQ(read("origin"), origin);
    EXPECT_EQ(read("input"), input);
    EXPECT_TRUE(status == 0 || (status == -1 && read("output").empty()));
    return status == 0 ? read("output") : "failed";
  }
};

int strip(const char*, const char* input, const char* output) {
  return remove_png_info(input, output);
}

}  // namespace

TEST_F(Meta, PngChunksAreCarried) {
  const std::string exif = chunk("eXIf", "camera"), icc = chunk("iCCP", "colours"),
                    text = chunk("tEXt", "x"), old = chunk("iCCP", "old");
  const std::string plain = kHeader + text + kImage;
  const std::string origin = kHeader + icc + exif + kImage;
  EXPECT_EQ(spliced(add_png_info, origin, plain), kHeader + exif + icc + text + kImage);
  EXPECT_EQ(spliced(add_png_info, kHeader + text + kImage, plain), plain);
  EXPECT_EQ(spliced(add_png_info, origin, origin), origin);
  EXPECT_EQ(spliced(add_png_info, origin, kHeader + old + kImage), kHeader + exif + old + kImage);
  EXPECT_EQ(spliced(add_png_info, kHeader + old + icc + kImage, plain),
            kHeader + icc + text + kImage)
      << "the last one wins";
  EXPECT_EQ(spliced(add_png_info, kHeader + kImage + exif, plain), plain);
  EXPECT_EQ(spliced(add_png_info, kHeader + chunk("IEND", "") + exif, plain), plain);
  EXPECT_EQ(spliced(add_png_info, origin, kHeader + kImage + icc),
            kHeader + exif + icc + kImage + icc)
      << "what follows the image is not looked at";
  // Byte 33, whatever the first chunk's length.
  const std::string odd = kPngStart + chunk("IHDR", std::string(40, 'h')) + kImage;
  EXPECT_EQ(spliced(add_png_info, kHeader + exif + kImage, odd),
            odd.substr(0, 33) + exif + odd.substr(33));
  EXPECT_EQ(spliced(add_png_info, origin, kPngStart), kPngStart + exif + icc);
}

TEST_F(Meta, PngProfilesAreStripped) {
  const std::string icc = chunk("iCCP", "colours"), exif = chunk("eXIf", "camera");
  EXPECT_EQ(spliced(strip, "", kHeader + icc + exif + icc + kImage), kHeader + exif + kImage);
  EXPECT_EQ(spliced(strip, "", kHeader + kImage), kHeader + kImage);
  EXPECT_EQ(spliced(strip, "", kHeader + icc + kImage + "tail"),
            kHeader + kImage + std::string(4, '\0'));
  EXPECT_EQ(spliced(strip, "", kHeader + icc), kHeader) << "no IEND";
}

TEST_F(Meta, JpegProfilesAreCarried) {
  const std::string icc = profile("new profile"), old = profile("old");
  const std::string plain = kJpegStart + kJfif + kScan;
  const std::string origin = kJpegStart + kJfif + segment(0xe1, "Exif") + icc + old + kScan;
  const std::string out = spliced(add_jpeg_info, origin, plain);
  EXPECT_EQ(out, kJpegStart + kJfif + icc + kScan);
  EXPECT_EQ(out.find(icc), 20u);
  EXPECT_EQ(spliced(add_jpeg_info, plain, plain), plain);
  EXPECT_EQ(spliced(add_jpeg_info, plain, origin), origin);
  EXPECT_EQ(spliced(add_jpeg_info, origin, kJpegStart + kJfif + old + kScan),
            kJpegStart + kJfif + icc + kScan + std::string(old.size(), '\0'));
  // Not a profile: another name, another code, too short, behind the image or the end.
  for (const std::string& other :
       {segment(0xe2, "ICC_PROFILEx"), segment(0xe1, std::string("ICC_PROFILE\0y", 13)),
        segment(0xe2, "ICC_PROFILE"), kScan + icc, kJpegEnd + icc,
        kJpegEnd + std::string("\0\2", 2) + icc, "junk" + icc}) {
    EXPECT_EQ(spliced(add_jpeg_info, kJpegStart + kJfif + other, plain), plain);
  }
  EXPECT_EQ(spliced(add_jpeg_info, kJpegStart + profile(""), plain),
            kJpegStart + kJfif + profile("") + kScan)
      << "the shortest profile";
}

// The first segment's length bytes are read as signed.
TEST_F(Meta, JpegFirstSegmentIsMeasuredSigned) {
  const std::string icc = profile("p"), origin = kJpegStart + icc;
  const auto insertion = [&](size_t length) {
    const std::string input = kJpegStart + segment(0xe1, std::string(length - 2, 'a')) + kScan;
    const std::string out = spliced(add_jpeg_info, origin, input);
    EXPECT_EQ(out.size(), input.size() + icc.size());
    return out.find(icc);
  };
  EXPECT_EQ(insertion(0x017f), 4 + 0x017fu);
  EXPECT_EQ(insertion(0x0180), 4 + 0x0080u) << "256 bytes short";
  EXPECT_EQ(insertion(0x02ff), 4 + 0x01ffu);
  EXPECT_EQ(insertion(0x0080), 4 + 0x0080u) << "negative: taken as it stands";
  EXPECT_EQ(insertion(0x8001), 4 + 0x8001u);
  EXPECT_EQ(spliced(add_jpeg_info, origin, kJpegStart), kJpegStart + icc);
  EXPECT_EQ(spliced(add_jpeg_info, origin, kJpegStart + std::string("\xff\xe0\0\0zz", 6)),
            kJpegStart + std::string("\xff\xe0\0\0", 4) + icc + "zz");
}

TEST_F(Meta, MessagesInOrder) {
  CapturedLog log;
  const std::string good = kHeader + kImage, missing = path("none"), folder = path("no/x");
  write("png", good);
  write("jpeg", kJpegStart + kScan);
  write("text", "text");
  const auto expect = [&](const Call& call, const char* origin, const char* input,
                          const std::string& output, const Messages& messages) {
    EXPECT_EQ(call(origin, input, output.c_str()), -1);
    EXPECT_EQ(log.take(), messages);
  };
  const std::string png = path("png"), jpeg = path("jpeg"), text = path("text"), out = path("out");
  for (const bool is_png : {true, false}) {
    const Call call = is_png ? Call(add_png_info) : Call(add_jpeg_info);
    const std::string name = is_png ? "png" : "jpeg";
    const char* ok = is_png ? png.c_str() : jpeg.c_str();
    EXPECT_EQ(call(ok, ok, nullptr), -1);
    EXPECT_EQ(log.take(), Messages{"png path error!\n"});
    expect(call, nullptr, ok, out, {"png path error!\n"});
    expect(call, ok, nullptr, out, {"png path error!\n"});
    expect(call, missing.c_str(), missing.c_str(), folder, {"origin " + name + " path error\n"});
    expect(call, text.c_str(), missing.c_str(), folder, {"input " + name + " path error\n"});
    expect(call, text.c_str(), text.c_str(), folder, {"output " + name + " path error\n"});
    expect(call, text.c_str(), ok, path(), {"output " + name + " path error\n"});
    expect(call, ok, ok, "/dev/full", {"output " + name + " path error\n"});
    EXPECT_FALSE(std::filesystem::exists(out));
    const std::string not_format = "origin " + name + " is not " + name + " format!\n";
    expect(call, text.c_str(), text.c_str(), out, {not_format});
    EXPECT_TRUE(std::filesystem::exists(out)) << "created before the origin is judged";
    EXPECT_EQ(std::filesystem::status(out).permissions() & std::filesystem::perms(0111),
              std::filesystem::perms(0));
    expect(call, ok, text.c_str(), out, {not_format, name + " in is not " + name + " format!\n"});
    expect(call, path().c_str(), ok, out, {not_format});
    std::filesystem::remove(out);
  }
  EXPECT_EQ(remove_png_info(png.c_str(), nullptr), -1);
  EXPECT_EQ(log.take(), Messages{"png path error!\n"});
  expect(strip, nullptr, nullptr, out, {"png path error!\n"});
  expect(strip, nullptr, missing.c_str(), folder, {"input png path error\n"});
  expect(strip, nullptr, text.c_str(), folder, {"output png path error\n"});
  expect(strip, nullptr, text.c_str(), out, {"origin png is not png format!\n"});
  expect(strip, nullptr, png.c_str(), "/dev/full", {"output png path error\n"});
}

TEST_F(Meta, OutputMayExistOrBeAnInput) {
  CapturedLog log;
  const std::string icc = chunk("iCCP", "colours"), origin = kHeader + icc + kImage;
  write("origin", origin);
  write("output", "precious");
  write("text", "text");
  EXPECT_EQ(add_png_info(path("text").c_str(), path("origin").c_str(), path("output").c_str()), -1);
  EXPECT_EQ(read("output"), "precious");
  write("output", kHeader + kImage);
  EXPECT_EQ(add_png_info(path("origin").c_str(), path("output").c_str(), path("output").c_str()),
            0);
  EXPECT_EQ(read("output"), origin);
  EXPECT_EQ(remove_png_info(path("output").c_str(), path("output").c_str()), 0);
  EXPECT_EQ(read("output"), kHeader + kImage);
  write("origin", kJpegStart + profile("p"));
  EXPECT_EQ(add_jpeg_info(path("origin").c_str(), path("origin").c_str(), path("origin").c_str()),
            0);
  EXPECT_EQ(read("origin"), kJpegStart + profile("p") + std::string(profile("p").size(), '\0'));
}

// Files cut at any byte, and any byte changed: no crash, no descriptor left open, and outputs of
// the stated lengths.
TEST_F(Meta, HostileFiles) {
  CapturedLog log;
  const std::string png = kHeader + chunk("iCCP", "p") + chunk("eXIf", "e") + kImage;
  const std::string jpeg = kJpegStart + kJfif + profile("p") + kScan;
  const size_t before = test::open_files();
  for (const auto& [whole, call] :
       {std::pair<std::string, Call>{png, add_png_info}, {png, strip}, {jpeg, add_jpeg_info}}) {
    for (size_t i = 0; i < whole.size(); ++i) {
      const std::string cut = whole.substr(0, i);
      std::string changed = whole;
      changed[i] = static_cast<char>(changed[i] ^ 0xff);
      for (const std::string& bad : {cut, changed}) {
        spliced(call, bad, whole);
        const std::string out = spliced(call, whole, bad);
        const bool long_enough = out == "failed" || out.size() + 13 >= bad.size();
        EXPECT_TRUE(long_enough) << out.size() << " of " << bad.size();
      }
    }
  }
  EXPECT_EQ(spliced(strip, "", kHeader + std::string("\xff\xff\xff\xffiCCPxx", 10)),
            kHeader + std::string(10, '\0'))
      << "a chunk of 4 GiB is none";
  EXPECT_EQ(test::open_files(), before);
}
