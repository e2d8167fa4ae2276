// A call into the library: without the interpreter's lock, its messages as exceptions.
#ifndef KELVRA_CV_PYTHON_CALL_H_
#define KELVRA_CV_PYTHON_CALL_H_

#include <pybind11/pybind11.h>

#include <initializer_list>
#include <string>

#include "arguments.h"

namespace bindings {

// Collects what the library prints on this thread during the object's life. The library has one
// sink for the process; ours sorts messages by thread, and writes those of threads that are not in
// a call from Python to standard error.
class Messages {
 public:
  static void take_over_sink();

  Messages();
  ~Messages();
  Messages(const Messages&) = delete;
  Messages& operator=(const Messages&) = delete;

  const std::string& text() const { return text_; }
  // A message says that the call was refused.
  void raise() const;

 private:
  std::string text_;
  std::string* outer_;
};

template <class Work>
void unlocked(const Work& work) {
  const pybind11::gil_scoped_release release;
  work();
}

template <class Work>
void call(const Work& work) {
  const Messages messages;
  unlocked(work);
  messages.raise();
}

// The common case: work(source, result) makes a picture of the image's size. `channels` are the
// image's; `result_channels` of 0 stands for as many as the image has.
template <class Work>
pybind11::array map(pybind11::handle image, std::initializer_list<int> channels, Rows rows,
                    pybind11::handle out, int result_channels, const Work& work) {
  const Image source = to_image(image, "image", channels, rows);
  const int count = result_channels == 0 ? source.channels : result_channels;
  const Result result(out, source.shape(count), rows, {&source});
  call([&] { work(source, result); });
  return result.take();
}

}  // namespace bindings

#endif  // KELVRA_CV_PYTHON_CALL_H_
