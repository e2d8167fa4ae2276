// A call's own memory, freed when the call returns.
#ifndef KELVRA_CV_CORE_SCRATCH_H_
#define KELVRA_CV_CORE_SCRATCH_H_

#include <cstddef>
#include <memory>
#include <type_traits>

namespace KelvraCV::detail {

// `count` elements, uninitialised. Throws std::bad_alloc.
template <class T>
class Scratch {
  static_assert(std::is_trivially_default_constructible_v<T>);

 public:
  explicit Scratch(size_t count) : elements_(new T[count]) {}
  Scratch(size_t rows, size_t columns) : Scratch(rows * columns) {}

  T* get() { return elements_.get(); }
  const T* get() const { return elements_.get(); }
  T& operator[](size_t index) { return elements_[index]; }
  const T& operator[](size_t index) const { return elements_[index]; }

 private:
  std::unique_ptr<T[]> elements_;
};

}  // namespace KelvraCV::detail

#endif  // KELVRA_CV_CORE_SCRATCH_H_
