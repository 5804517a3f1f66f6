// Moving average over the last thousand values.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

namespace larch {

// One thread.
class fillWindow {
 public:
  static constexpr int32_t length = 1000;

  void push(double value) {
    if (count_ == length)
      sum_ -= values_[static_cast<std::size_t>(index_)];
    else
      count_++;
    values_[static_cast<std::size_t>(index_)] = value;
    sum_ += value;
    index_ = index_ + 1 == length ? 0 : index_ + 1;
  }
  double mean() const { return count_ ? sum_ / count_ : 0.0; } // of what has been pushed, while that is less than the length
  int32_t count() const { return count_; }

 private:
  std::array<double, length> values_{};
  int32_t index_ = 0, count_ = 0;
  double sum_ = 0;
};

} // namespace larch
