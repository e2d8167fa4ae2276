#include "call.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "kelvra_cv.h"

namespace bindings {
namespace {

thread_local std::string* t_text = nullptr;

void collect(const char* format, va_list arguments) {
  if (t_text == nullptr) {
    std::vfprintf(stderr, format, arguments);
    return;
  }
  char message[512];  // longer paths are cut
  std::vsnprintf(message, sizeof message, format, arguments);
  *t_text += message;
}

}  // namespace

void Messages::take_over_sink() {
  KelvraCV::log_set_callback(collect);
}

Messages::Messages() : outer_(t_text) {
  t_text = &text_;
}
Messages::~Messages() {
  t_text = outer_;
}

void Messages::raise() const {
  if (text_.empty()) return;
  if (text_.find("memory create error") != std::string::npos) throw std::bad_alloc();
  throw pybind11::value_error(text_.substr(0, text_.find_last_not_of('\n') + 1));
}

}  // namespace bindings
