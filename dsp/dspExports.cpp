// Exports of arrays, memory, check values and transforms; all run on the calling thread.
#include "runtime/larchlib.h"
#include "dsp/alignedMemory.h"
#include "dsp/buff.h"
#include "dsp/crc12.h"
#include "dsp/transform.h"
#include <cstring>

namespace {

// An array handle is a heap buff<T>, not a shared-pointer holder: the frames of newSpectrum have the same form.
template <class T> larch::buff<T>& bufferOf(void* h) { return *static_cast<larch::buff<T>*>(h); }
template <class T> larch::buff<T>* makeArray(int32_t n) { return new larch::buff<T>(n > 0 ? static_cast<uint64_t>(n) : 0); }

using complexSample = std::complex<double>;

} // namespace

// element: what the host sees through the pointer
#define LARCH_ARRAY(X, T, element)                                                                                               \
  X* X##_create(int32_t n) { return reinterpret_cast<X*>(makeArray<T>(n)); }                                                     \
  element* X##_data(X* h) { return reinterpret_cast<element*>(bufferOf<T>(h).data); }                                            \
  int32_t X##_size(X* h) { return static_cast<int32_t>(bufferOf<T>(h).count); }                                                  \
  void X##_delete(X* h) { delete reinterpret_cast<larch::buff<T>*>(h); }

LARCH_ARRAY(floatArray, float, float)
LARCH_ARRAY(doubleArray, double, double)
LARCH_ARRAY(complexArray, complexSample, double)

void fft_Fwd(complexArray* in, complexArray* out) {
  larch::fftForward(bufferOf<complexSample>(in), bufferOf<complexSample>(out));
}
void fft_Rev(complexArray* in, complexArray* out) {
  larch::fftInverse(bufferOf<complexSample>(in), bufferOf<complexSample>(out));
}
void fft_FwdR(doubleArray* in, complexArray* out) { larch::fftForwardReal(bufferOf<double>(in), bufferOf<complexSample>(out)); }

void* mem_malloc(int32_t bytes) {
  const int32_t units = bytes / static_cast<int32_t>(larch::memoryUnit); // required: a rest of a unit is dropped
  return units < 0 ? nullptr : larch::alignedAllocate(static_cast<size_t>(units));
}
void mem_free(void* memory) { larch::alignedFree(memory); }
void mem_memcpy(void* dst, const void* src, int32_t bytes) {
  if (bytes > 0) std::memcpy(dst, src, static_cast<size_t>(bytes));
}

uint16_t crc12(const uint8_t* data, int32_t n) { return larch::crc12(data, n); }
bool crc12_check(const uint8_t* data, int32_t n) { return larch::crc12(data, n) == 0; }
