// Rows of an image over threads.
#ifndef KELVRA_CV_CORE_PARALLEL_H_
#define KELVRA_CV_CORE_PARALLEL_H_

#include <algorithm>
#include <future>
#include <system_error>
#include <vector>

#include "kelvra_cv.h"

namespace KelvraCV::detail {

// Calls work(first, end) for bands of ceil(height / threads) rows, which must not throw, and
// returns when all are done. Bands without rows are left out. The last band, and any for which the
// system has no thread, runs on the calling thread. Below 1, `threads` stands for one for each
// processor, but at most 4.
template <class Work>
void for_row_bands(int height, int threads, const Work& work) {
  if (height < 1) return;
  const int bands = threads >= 1 ? threads : std::clamp(get_cpu_core_num(), 1, 4);
  const int rows = height / bands + (height % bands != 0);
  std::vector<std::future<void>> others;  // waits for its threads, also when an exception passes
  int first = 0;
  for (; height - first > rows; first += rows) {
    const auto band = [&work, first, rows] { work(first, first + rows); };
    try {
      others.push_back(std::async(std::launch::async, band));
    } catch (const std::system_error&) {
      band();
    }
  }
  work(first, height);
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_PARALLEL_H_
