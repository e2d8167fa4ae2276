#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "support/captured_log.h"
#include "support/images.h"
#include "support/temporary_folder.h"

using namespace KelvraCV;

namespace {

class Files : public testing::Test, protected test::TemporaryFolder {};

}  // namespace

TEST_F(Files, WholeFileIsRead) {
  const std::string bytes("a\0\r\n\xff", 5);
  int size = -5;
  const size_t open_before = test::open_files();
  const std::unique_ptr<unsigned char[]> read(read_file_into_buffer(write("file", bytes), size));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(std::string(read.get(), read.get() + size), bytes);
  EXPECT_EQ(test::open_files(), open_before);
}

TEST_F(Files, MissingEmptyAndUnreadable) {
  int size = 5;
  EXPECT_EQ(read_file_into_buffer(path("absent"), size), nullptr);
  EXPECT_EQ(size, 0);
  const size_t open_before = test::open_files();
  size = 5;
  EXPECT_EQ(read_file_into_buffer(write("file", ""), size), nullptr);
  EXPECT_EQ(size, 5);
  EXPECT_EQ(test::open_files(), open_before + 1) << "an empty file stays open";
  EXPECT_EQ(read_file_into_buffer(path(), size), nullptr);
  EXPECT_EQ(size, 5);
}

TEST_F(Files, NumbersRestartOnEveryLine) {
  const auto parse = [&](const std::string& text, const char* delimiters) {
    std::vector<float> values(6, -9.0f);
    parse_file_float(write("file", text), delimiters, values.data());
    return values;
  };
  EXPECT_EQ(parse("1 2 3\n4 5\n", " "), (std::vector<float>{4, 5, 3, -9, -9, -9}));
  EXPECT_EQ(parse("1,2;;3,\n\n", ",;"), (std::vector<float>{1, 2, 3, -9, -9, -9}));
  EXPECT_EQ(parse("\n\n7.5e1 x0 -0.1", " "), (std::vector<float>{75, 0, -0.1f, -9, -9, -9}));
  EXPECT_EQ(parse("", " ,"), (std::vector<float>(6, -9.0f)));
  EXPECT_EQ(parse("1 2\r\n\r\n", " "), (std::vector<float>{0, 2, -9, -9, -9, -9}))
      << "a carriage return alone is a token without digits";
  EXPECT_EQ(parse(std::string("1 \0 2\n", 6), " ")[0], 1);
}

TEST_F(Files, MissingNumberFileIsReported) {
  test::CapturedLog log;
  float untouched = 4;
  parse_file_float(path("no %s"), " ", &untouched);
  EXPECT_EQ(log.take(), test::Messages{"Can not find " + path("no %s") + "\n"});
  EXPECT_EQ(untouched, 4);
}

TEST(Bytes, StringsAndIntegers) {
  const char bytes[] = {1, 2, 3, 4, '\xff', '\xfe', 0, '\x80', 'x'};
  EXPECT_EQ(bytes_to_string(bytes, 5, 4), std::string("\xfe\0\x80x", 4));
  EXPECT_EQ(bytes_to_string(bytes, 2, 0), "");
  EXPECT_EQ(bytes_to_string(bytes, 2, -1), "");
  EXPECT_EQ(bytes_to_int(bytes, 0, true), 16909060);
  EXPECT_EQ(bytes_to_int(bytes, 0, false), 67305985);
  EXPECT_EQ(bytes_to_int(bytes, 4, true), static_cast<int>(0xfffe0080u));
  EXPECT_EQ(bytes_to_int(bytes, 4, false), static_cast<int>(0x8000feffu));
}
