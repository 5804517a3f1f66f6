#include "dsp/alignedDoubles.h"
#include "dsp/alignedMemory.h"
#include <cstring>
#include <new>

namespace larch {

void alignedDoublesFree::operator()(double* p) const { alignedFree(p); }

alignedDoubles makeAlignedDoubles(std::size_t count) {
  auto* p = static_cast<double*>(alignedAllocate((count + 1) / 2));
  if (!p) throw std::bad_alloc();
  std::memset(p, 0, count * sizeof(double));
  return alignedDoubles(p);
}

} // namespace larch
