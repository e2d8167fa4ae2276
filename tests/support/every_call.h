// A call of every exported function that works on buffers, with sizes, strides, overlap, flags,
// parameters and pixels drawn from one source of numbers: the fuzzer's bytes, or a seed. The same
// numbers give the same call, wherever its buffers lie, so its result must be the same, too; where
// the tests have a plain version of a function, it must be that version's.
#ifndef KELVRA_CV_TESTS_SUPPORT_EVERY_CALL_H_
#define KELVRA_CV_TESTS_SUPPORT_EVERY_CALL_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "kelvra_cv.h"
#include "support/guarded_buffer.h"

namespace test {

// Numbers from bytes, and once these are used up from a generator.
class Draw {
 public:
  explicit Draw(uint32_t seed) : generator_(seed) {}
  Draw(const uint8_t* bytes, size_t size) : bytes_(bytes), end_(bytes + size), generator_(1) {}

  uint32_t next() {
    uint32_t value = 0;
    if (bytes_ == end_) return static_cast<uint32_t>(generator_());
    for (int i = 0; i < 2 && bytes_ != end_; ++i) value = value << 8 | *bytes_++;
    return value;
  }

 private:
  const uint8_t *bytes_ = nullptr, *end_ = nullptr;
  std::mt19937 generator_;
};

// Where a call's buffers lie.
struct Placement {
  Guard guard;
  int extra_padding;  // elements more between rows, where rows may be padded
  bool compared;      // with plain versions, too: not where allocations or time count
};

// One call: draws its arguments, keeps its buffers, and collects its result.
class Scene {
 public:
  Scene(Draw draw, Placement placement) : draw_(draw), placement_(placement) {}

  // Uniform, both ends included.
  int number(int low, int high) {
    return low + static_cast<int>(draw_.next() % static_cast<uint32_t>(high - low + 1));
  }
  float real(float low, float high) {
    return low + (high - low) * static_cast<float>(draw_.next() % 65536) / 65535.0f;
  }
  bool flag() { return number(0, 1) == 1; }
  template <class T>
  T any_of(std::initializer_list<T> values) {
    return values.begin()[number(0, static_cast<int>(values.size()) - 1)];
  }

  enum class Rows { kPacked, kPadded };
  enum class Content { kPixels, kMask };
  // An image of samples.
  GuardedBuffer<uint8_t>& input(int columns, int rows, Rows padding = Rows::kPacked,
                                Content content = Content::kPixels);
  // What the call writes. It holds the same bytes before every call.
  template <class T = uint8_t>
  GuardedBuffer<T>& output(int columns, int rows, Rows padding = Rows::kPacked) {
    return written<T>(make<T>(columns, rows, padding));
  }
  // The same, or in place: the source, which must have as many bytes.
  GuardedBuffer<uint8_t>& output_or(GuardedBuffer<uint8_t>& source, Rows padding = Rows::kPacked) {
    return flag() ? written(source) : output(source.columns(), source.rows(), padding);
  }

  // What an output must hold in the end: `plain()`, from inputs as they are now.
  template <class T, class Plain>
  void expect(const GuardedBuffer<T>& output, const Plain& plain, int tolerance = 0) {
    if (!placement_.compared) return;
    const auto alike = [=](T a, T b) {
      return a == b || (a != a && b != b) || std::abs(a - b) <= tolerance;
    };
    outputs_.emplace_back([&output, alike, wanted = std::vector<T>(plain())] {
      const std::vector<T> found = output.packed();
      EXPECT_TRUE(std::equal(found.begin(), found.end(), wanted.begin(), wanted.end(), alike))
          << "not the plain version's result";
    });
  }
  // What was found, and had no buffer of its own.
  template <class Result, class Plain>
  void expect_found(const Result& found, const Plain& plain) {
    if (!placement_.compared) return;
    EXPECT_TRUE(found == plain()) << "not the plain version's result";
  }

  void result(const void* bytes, size_t count) {
    const auto* first = static_cast<const uint8_t*>(bytes);
    result_.insert(result_.end(), first, first + count);
  }
  void result(int value) { result(&value, sizeof value); }
  void result(const float* values, int count) {
    for (int i = 0; i < count; ++i) {  // the bits of a NaN differ between machines
      const float value = std::isnan(values[i]) ? 12345.0f : values[i];
      result(static_cast<const void*>(&value), sizeof value);
    }
  }
  void result(const std::vector<std::vector<KelvraCV::Point>>& lists) {
    for (const auto& list : lists) {
      result(static_cast<int>(list.size()));
      result(static_cast<const void*>(list.data()), list.size() * sizeof list[0]);
    }
  }

  // Everything that was written, in order, once it is what was expected.
  std::vector<uint8_t> finish() {
    for (const auto& read : outputs_) read();
    return std::move(result_);
  }

 private:
  template <class T>
  std::deque<GuardedBuffer<T>>& buffers() {
    if constexpr (sizeof(T) == 1)
      return bytes_;
    else if constexpr (sizeof(T) == 2)
      return shorts_;
    else if constexpr (std::is_same_v<T, int>)
      return ints_;
    else
      return floats_;
  }
  template <class T>
  GuardedBuffer<T>& make(int columns, int rows, Rows padding) {
    const int wide = padding == Rows::kPadded ? number(0, 9) + placement_.extra_padding : 0;
    return buffers<T>().emplace_back(columns, rows, wide, placement_.guard);
  }
  template <class T>
  GuardedBuffer<T>& written(GuardedBuffer<T>& buffer) {
    outputs_.push_back([this, &buffer] {
      for (int y = 0; y < buffer.rows(); ++y) {
        if constexpr (std::is_same_v<T, float>) {
          result(buffer.row(y), buffer.columns());
        } else {
          result(static_cast<const void*>(buffer.row(y)), buffer.columns() * sizeof(T));
        }
      }
    });
    return buffer;
  }

  Draw draw_;
  Placement placement_;
  std::deque<GuardedBuffer<uint8_t>> bytes_;
  std::deque<GuardedBuffer<short>> shorts_;
  std::deque<GuardedBuffer<int>> ints_;
  std::deque<GuardedBuffer<float>> floats_;
  std::vector<std::function<void()>> outputs_;
  std::vector<uint8_t> result_;
};

struct Call {
  std::string name, family;
  void (*run)(Scene&);
};
const std::vector<Call>& every_call();

// The result of a call with these numbers.
inline std::vector<uint8_t> result_of(const Call& call, const Draw& draw, Placement placement) {
  SCOPED_TRACE(call.name);
  Scene scene(draw, placement);
  call.run(scene);
  return scene.finish();
}
constexpr Placement kUpToThePage{Guard::kAfter, 0, false}, kFromThePage{Guard::kBefore, 13, true};

}  // namespace test

#endif  // KELVRA_CV_TESTS_SUPPORT_EVERY_CALL_H_
