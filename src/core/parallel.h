// Rows of an image over threads.
#ifndef KELVRA_CV_CORE_PARALLEL_H_
#define KELVRA_CV_CORE_PARALLEL_H_

#include <algorithm>
#include <system_error>
#include <thread>
#include <vector>

#include "kelvra_cv.h"

namespace KelvraCV::detail {

// Threads that are joined in the order of their creation, also when an exception passes.
class Workers {
 public:
  Workers() = default;
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  ~Workers() {
    for (std::thread& thread : threads_) thread.join();
  }

  // False if the system starts no more threads.
  template <class Work>
  bool start(const Work& work, int first, int end) {
    try {
      threads_.emplace_back([&work, first, end] { work(first, end); });
    } catch (const std::system_error&) {
      return false;
    }
    return true;
  }

 private:
  std::vector<std::thread> threads_;
};

// The number of bands that a caller's `threads` asks for: below 1, one for each processor, but at
// most 4.
inline int band_count(int threads) {
  return threads >= 1 ? threads : std::clamp(get_cpu_core_num(), 1, 4);
}

// Calls work(first, end) for bands of ceil(height / bands) rows, which must not throw, and
// returns when all are done. Bands without rows are left out. The last band, and any for which
// the system has no thread, runs on the calling thread.
template <class Work>
void for_row_bands(int height, int threads, const Work& work) {
  if (height < 1) return;
  const int bands = band_count(threads);
  const int rows = height / bands + (height % bands != 0);
  Workers workers;
  int first = 0;
  for (; height - first > rows; first += rows) {
    if (!workers.start(work, first, first + rows)) work(first, first + rows);
  }
  work(first, height);
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_PARALLEL_H_
