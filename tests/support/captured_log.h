// Collects the library's messages while it lives.
#ifndef KELVRA_CV_TESTS_SUPPORT_CAPTURED_LOG_H_
#define KELVRA_CV_TESTS_SUPPORT_CAPTURED_LOG_H_

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "kelvra_cv.h"

namespace test {

class CapturedLog {
 public:
  CapturedLog() {
    lines().clear();
    KelvraCV::log_set_callback(
        [](const char* format, va_list arguments) { lines().push_back(text(format, arguments)); });
  }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog() {
    KelvraCV::log_set_callback(
        [](const char* format, va_list arguments) { std::vprintf(format, arguments); });
  }

  // The messages so far, in order; the next call starts anew.
  std::vector<std::string> take() {
    std::vector<std::string> taken;
    taken.swap(lines());
    return taken;
  }

 private:
  static std::vector<std::string>& lines() {
    static std::vector<std::string> all;
    return all;
  }
  static std::string text(const char* format, va_list arguments) {
    char buffer[4096];
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    return buffer;
  }
};

using Messages = std::vector<std::string>;

}  // namespace test

#endif  // KELVRA_CV_TESTS_SUPPORT_CAPTURED_LOG_H_
