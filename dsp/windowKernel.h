// Complex samples times a real window.
#pragma once
#include "dsp/cpuVariant.h"
#include <complex>
#include <cstddef>

namespace larch {

// out[i] = in[i] * window[i]; out may be in, no alignment is needed. The same to the bit for every variant. rt.
void multiplyWindow(const std::complex<double>* in, const double* window, std::complex<double>* out, std::size_t count,
                    cpuVariant variant = selectedVariant());

} // namespace larch
