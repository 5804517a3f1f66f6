// buff<T>: a copyable view of a reference-counted, pooled block of samples.
#pragma once
#include "dsp/bufferPool.h"
#include <complex>
#include <cstdint>
#include <memory>

namespace larch {

// Instantiated for char, float, double and std::complex<double>. Copying copies the view, never samples: a write through one
// view is seen through the other. Contents start undefined. A block's contents are complete before its first view is posted
// to another group and are then only read. One buff object belongs to one thread at a time; its block may be shared.
template <class T> class buff {
public:
  std::shared_ptr<pooledRawBuffer> owner; // empty for a zero-length buffer and for a failed slice
  T* data;                                // never null but after a failed slice
  uint64_t count;                         // elements

  buff() : data(placeholder()), count(0) {}
  explicit buff(uint64_t n);
  buff(uint64_t n, T value); // every element set
  buff(const buff&) = default;
  buff& operator=(const buff&) = default;
  buff(buff&& other) noexcept : owner(std::move(other.owner)), data(other.data), count(other.count) {
    other.data = placeholder();
    other.count = 0;
  }
  buff& operator=(buff&& other) noexcept {
    if (this != &other) {
      owner = std::move(other.owner);
      data = other.data;
      count = other.count;
      other.data = placeholder();
      other.count = 0;
    }
    return *this;
  }

  // This view's elements to the start of dest; the rest of dest stays. Longer than dest: a message on standard output, no copy.
  void copy(buff dest) const;
  // n elements from srcOffset to dest at destOffset. Only dest's range is tested: the caller answers for the source.
  void copyTo(uint64_t srcOffset, uint64_t n, buff dest, uint64_t destOffset) const;

private:
  static T* placeholder();
};

// A view of `count` elements of source from `start`. Out of range: a message on standard output, and a view without owner and
// with the requested count that must not be read.
template <class T> buff<T> slice(const buff<T>& source, uint64_t start, uint64_t count);

extern template class buff<char>;
extern template class buff<float>;
extern template class buff<double>;
extern template class buff<std::complex<double>>;

using cbuff = buff<std::complex<double>>;

} // namespace larch
