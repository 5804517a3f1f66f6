// Doubles at the full alignment of the vector kernels.
#pragma once
#include <cstddef>
#include <memory>

namespace larch {

struct alignedDoublesFree {
  void operator()(double* p) const;
};
using alignedDoubles = std::unique_ptr<double[], alignedDoublesFree>;

alignedDoubles makeAlignedDoubles(std::size_t count); // cleared; throws std::bad_alloc. Not rt.

} // namespace larch
