// A call's own memory, freed when the call returns.
#ifndef KELVRA_CV_CORE_SCRATCH_H_
#define KELVRA_CV_CORE_SCRATCH_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

namespace KelvraCV::detail {

// `count` elements, uninitialised, from the start of a cache line on. Throws std::bad_alloc.
template <class T>
class Scratch {
  static_assert(std::is_trivially_default_constructible_v<T>);

 public:
  explicit Scratch(size_t count) : memory_(allocate(count)) {
    const auto address = reinterpret_cast<uintptr_t>(memory_.get());
    elements_ = reinterpret_cast<T*>(memory_.get() + (kCacheLine - address % kCacheLine));
  }
  Scratch(size_t rows, size_t columns) : Scratch(rows * columns) {}

  T* get() { return elements_; }
  const T* get() const { return elements_; }
  T& operator[](size_t index) { return elements_[index]; }
  const T& operator[](size_t index) const { return elements_[index]; }

 private:
  static constexpr size_t kCacheLine = 64;

  // A line more, to start on one: dearer than that is asking the allocator for it.
  static unsigned char* allocate(size_t count) {
    if (count > (std::numeric_limits<size_t>::max() - kCacheLine) / sizeof(T)) {
      throw std::bad_alloc();
    }
    return new unsigned char[count * sizeof(T) + kCacheLine];
  }

  std::unique_ptr<unsigned char[]> memory_;
  T* elements_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_SCRATCH_H_
