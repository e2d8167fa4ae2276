// Our functions beside what a user would pick instead, on the same data in the same run.
//
// A program lists its comparisons in `void list_comparisons()`; support.cpp has main(), which runs
// them interleaved and prints, for each, nanoseconds per pixel, the peer's time over ours, and the
// share of the memory limit: the time in which memcpy moves as many bytes, over our time.
#ifndef KELVRA_CV_BENCH_SUPPORT_H_
#define KELVRA_CV_BENCH_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace bench {

constexpr int kWidth = 1920, kHeight = 1080;

struct Comparison {
  std::string name;            // "rgb2gray 1920x1080"
  double pixels;               // in one call
  double bytes;                // that one call must read and write, for the memory limit
  std::function<void()> ours;  // one call
  std::string peer_name;       // "cv::cvtColor"
  std::function<void()> peer;  // the same job by the peer
};
void compare(Comparison comparison);

// Defined by each program.
void list_comparisons();

// "name 1920x1080"
std::string sized(const std::string& name, int width, int height);

// Moves a buffer to where it lives as long as the program, for the calls to share.
template <class T>
T* keep(std::vector<T> buffer) {
  static std::list<std::vector<T>> kept;
  return kept.emplace_back(std::move(buffer)).data();
}

// Smooth areas, edges and noise, as photographs have them; packed.
std::vector<uint8_t> photo(int width, int height, int channels);

}  // namespace bench

#endif  // KELVRA_CV_BENCH_SUPPORT_H_
