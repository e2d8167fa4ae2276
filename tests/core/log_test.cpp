#include <gtest/gtest.h>

#include <thread>

#include "support/captured_log.h"

using namespace KelvraCV;

TEST(Log, StandardOutputUntilReplaced) {
  // Runs in a program of its own state: no other test of this file precedes it.
  testing::internal::CaptureStdout();
  log_print("png path error!\n");
  log_print("%d of %s", 3, "four");
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "png path error!\n3 of four");
}

TEST(Log, SinkReceivesFormatAndArgumentsUnchanged) {
  static const char* seen_format = nullptr;
  static int seen_number = 0;
  log_set_callback([](const char* format, va_list arguments) {
    seen_format = format;
    seen_number = va_arg(arguments, int);
  });
  static const char format[] = "%d!";
  log_print(format, 42);
  EXPECT_EQ(seen_format, format);
  EXPECT_EQ(seen_number, 42);

  test::CapturedLog log;
  log_print("no newline");
  log_print("%s\n", "newline");
  EXPECT_EQ(log.take(), (test::Messages{"no newline", "newline\n"}));
}

TEST(Log, NullSinkIsSilent) {
  testing::internal::CaptureStdout();
  log_set_callback(nullptr);
  log_print("lost %s\n", "message");
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(System, VersionAndCores) {
  EXPECT_STREQ(get_version(), "v1.6.3");
  EXPECT_EQ(get_version(), get_version());
  EXPECT_GE(get_cpu_core_num(), 1);
  EXPECT_GE(get_cpu_core_num(), static_cast<int>(std::thread::hardware_concurrency() > 0));
}
