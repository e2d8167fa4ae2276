// Buffers that bite: rows of elements that end (or start) at an unmapped page, so that reading or
// writing one byte too far faults. Padding between rows and everything around the rows holds a
// known pattern, which the destructor checks.
#ifndef KELVRA_CV_TESTS_SUPPORT_GUARDED_BUFFER_H_
#define KELVRA_CV_TESTS_SUPPORT_GUARDED_BUFFER_H_

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace test {

// Which side of the rows touches the unmapped page.
enum class Guard { kAfter, kBefore };

template <class T = uint8_t>
class GuardedBuffer {
 public:
  // `rows` rows of `columns` elements, `padding` elements between rows and none after the last,
  // unless `pad_last` says so. Elements start as zeros.
  GuardedBuffer(int columns, int rows, int padding = 0, Guard guard = Guard::kAfter,
                bool pad_last = false)
      : columns_(columns), rows_(rows), stride_(columns + padding) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t elements =
        rows == 0 ? 0 : static_cast<size_t>(stride_) * rows - (pad_last ? 0 : padding);
    const size_t bytes = elements * sizeof(T);
    const size_t inside = (bytes + 2 * page - 1) / page * page;
    mapped_bytes_ = inside + 2 * page;
    mapping_ = static_cast<uint8_t*>(
        mmap(nullptr, mapped_bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (mapping_ == MAP_FAILED) throw std::bad_alloc();
    inside_ = {mapping_ + page, mapping_ + page + inside};
    mprotect(inside_.begin, inside, PROT_READ | PROT_WRITE);
    std::memset(inside_.begin, kCanary, inside);
    uint8_t* first = guard == Guard::kAfter ? inside_.end - bytes : inside_.begin;
    data_ = reinterpret_cast<T*>(first);
    for (int y = 0; y < rows_; ++y) std::memset(row(y), 0, columns_ * sizeof(T));
  }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer() {
    EXPECT_EQ(damaged_bytes(), 0) << "bytes outside of a " << columns_ << " x " << rows_
                                  << " buffer were overwritten";
    munmap(mapping_, mapped_bytes_);
  }

  T* data() { return data_; }
  const T* data() const { return data_; }
  T* row(int y) { return data_ + static_cast<ptrdiff_t>(y) * stride_; }
  const T* row(int y) const { return data_ + static_cast<ptrdiff_t>(y) * stride_; }
  int columns() const { return columns_; }
  int rows() const { return rows_; }
  int stride() const { return stride_; }  // in elements

  // Copies packed rows in and out.
  void fill(const std::vector<T>& packed) {
    for (int y = 0; y < rows_; ++y) {
      std::memcpy(row(y), packed.data() + static_cast<size_t>(y) * columns_, columns_ * sizeof(T));
    }
  }
  std::vector<T> packed() const {
    std::vector<T> result;
    result.reserve(static_cast<size_t>(columns_) * rows_);
    for (int y = 0; y < rows_; ++y) result.insert(result.end(), row(y), row(y) + columns_);
    return result;
  }

 private:
  static constexpr uint8_t kCanary = 0xA5;

  int damaged_bytes() const {
    int damaged = 0;
    const uint8_t* at = inside_.begin;
    const auto check_until = [&](const uint8_t* end) {
      for (; at < end; ++at) damaged += *at != kCanary;
    };
    for (int y = 0; y < rows_; ++y) {
      const auto* start = reinterpret_cast<const uint8_t*>(row(y));
      check_until(start);
      at = start + columns_ * sizeof(T);
    }
    check_until(inside_.end);
    return damaged;
  }

  struct Range {
    uint8_t* begin;
    uint8_t* end;
  };

  int columns_, rows_, stride_;
  size_t mapped_bytes_ = 0;
  uint8_t* mapping_ = nullptr;
  Range inside_{};
  T* data_ = nullptr;
};

}  // namespace test

#endif  // KELVRA_CV_TESTS_SUPPORT_GUARDED_BUFFER_H_
