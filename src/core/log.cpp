// The one channel for messages: a replaceable sink, standard output until it is replaced.
#include <atomic>
#include <cstdio>

#include "kelvra_cv.h"

namespace KelvraCV {
namespace {

void print_to_stdout(const char* format, va_list arguments) {
  std::vprintf(format, arguments);
}

std::atomic<void (*)(const char*, va_list)> g_sink = print_to_stdout;

}  // namespace

void log_set_callback(void (*callback)(const char*, va_list)) {
  g_sink = callback;
}

void log_print(const char* format, ...) {
  const auto sink = g_sink.load();
  if (sink == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  sink(format, arguments);
  va_end(arguments);
}

}  // namespace KelvraCV
