// Rows of an image shared out to threads.
#ifndef KELVRA_CV_CORE_PARALLEL_H_
#define KELVRA_CV_CORE_PARALLEL_H_

#include <algorithm>
#include <system_error>
#include <thread>
#include <vector>

#include "kelvra_cv.h"

namespace KelvraCV::detail {

// Calls work(first, end) for blocks of ceil(height / threads) rows, each on a thread of its own,
// and returns when all are done. `threads` below 1 means as many as processors are online, at
// most 4. `work` must not throw.
template <class Work>
void for_row_blocks(int height, int threads, const Work& work) {
  if (threads < 1) threads = std::clamp(get_cpu_core_num(), 1, 4);
  const int rows = height / threads + (height % threads != 0 ? 1 : 0);
  if (rows == height) {
    work(0, height);
    return;
  }
  // Threads that would have no row are not started.
  std::vector<std::thread> workers;
  workers.reserve(height / rows + 1);
  int first = 0;
  try {
    for (; first < height; first += std::min(rows, height - first)) {
      const int end = first + std::min(rows, height - first);
      workers.emplace_back([&work, first, end] { work(first, end); });
    }
  } catch (const std::system_error&) {
    work(first, height);  // the system has no thread left: this one does the rest
  }
  for (std::thread& worker : workers) worker.join();
}

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_PARALLEL_H_
