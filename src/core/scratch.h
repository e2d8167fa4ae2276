// A call's own memory, freed when the call returns.
#ifndef KELVRA_CV_CORE_SCRATCH_H_
#define KELVRA_CV_CORE_SCRATCH_H_

#include <cstddef>
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
  explicit Scratch(size_t count) : elements_(allocate(count)) {}
  Scratch(size_t rows, size_t columns) : Scratch(rows * columns) {}

  T* get() { return elements_.get(); }
  const T* get() const { return elements_.get(); }
  T& operator[](size_t index) { return elements_[index]; }
  const T& operator[](size_t index) const { return elements_[index]; }

 private:
  static constexpr std::align_val_t kCacheLine{64};

  static T* allocate(size_t count) {
    if (count > std::numeric_limits<size_t>::max() / sizeof(T)) throw std::bad_alloc();
    return static_cast<T*>(::operator new[](count * sizeof(T), kCacheLine));
  }
  struct Free {
    void operator()(T* elements) const { ::operator delete[](elements, kCacheLine); }
  };
  std::unique_ptr<T[], Free> elements_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_SCRATCH_H_
