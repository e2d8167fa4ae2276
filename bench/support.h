// Our functions beside what a user would pick instead, on the same data in the same run.
//
// A program lists its comparisons in `void list_comparisons()`. On the machine itself, timing.cpp
// has main() and times them; for arm64, where there is no machine, arm64/meter.cpp has it and marks
// them for an emulator that counts instructions.
#ifndef KELVRA_CV_BENCH_SUPPORT_H_
#define KELVRA_CV_BENCH_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "kelvra_cv.h"

namespace bench {

constexpr int kWidth = 1920, kHeight = 1080;

struct Comparison {
  std::string name;            // "rgb2gray 1920x1080"; several peers of a case share it
  double pixels;               // in one call
  double bytes;                // that one call must read and write, for the memory limit
  std::function<void()> ours;  // one call
  std::string peer_name;       // "cv::cvtColor"; empty where there is none
  std::function<void()> peer;  // the same job by the peer
};
void compare(Comparison comparison);
const std::vector<Comparison>& comparisons();

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

// Lets no compiler leave out what `value` was computed for.
template <class T>
void use(const T& value) {
  asm volatile("" : : "g"(&value) : "memory");
}

// Smooth areas, edges and noise, as photographs have them; packed.
std::vector<uint8_t> photo(int width, int height, int channels);

// Discs of several sizes with a hole each, and a speck here and there: a mask as a segmentation
// leaves it.
std::vector<uint8_t> discs(int width, int height);

// The record of a packed image.
inline KelvraCV::ImageData record(uint8_t* data, int width, int height, int channels) {
  return {data, width, height, channels, width * channels, 0, 0};
}

}  // namespace bench

#endif  // KELVRA_CV_BENCH_SUPPORT_H_
