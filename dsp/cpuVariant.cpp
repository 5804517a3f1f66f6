#include "dsp/cpuVariant.h"
#include <atomic>

namespace larch {

namespace {

#if LARCH_X86
constexpr cpuVariant compiled[] = {cpuVariant::baseline, cpuVariant::avx2, cpuVariant::avx512};
#else
constexpr cpuVariant compiled[] = {cpuVariant::baseline};
#endif

constexpr int notChosen = -1;
std::atomic<int> selected{notChosen}; // relaxed: a number on its own, and every thread that chooses finds the same

} // namespace

std::span<const cpuVariant> compiledVariants() { return compiled; }

bool variantAvailable(cpuVariant variant) {
#if LARCH_X86
  __builtin_cpu_init();
  const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (variant == cpuVariant::avx2) return avx2;
  if (variant == cpuVariant::avx512)
    return avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw");
#endif
  return variant == cpuVariant::baseline;
}

const char* variantName(cpuVariant variant) {
  switch (variant) {
  case cpuVariant::avx2: return "avx2";
  case cpuVariant::avx512: return "avx512";
  default: return "baseline";
  }
}

void selectVariants() {
  cpuVariant best = cpuVariant::baseline;
  for (cpuVariant variant : compiledVariants())
    if (variantAvailable(variant)) best = variant;
  selected.store(static_cast<int>(best), std::memory_order_relaxed);
}

cpuVariant selectedVariant() {
  const int choice = selected.load(std::memory_order_relaxed);
  if (choice != notChosen) return static_cast<cpuVariant>(choice);
  selectVariants();
  return static_cast<cpuVariant>(selected.load(std::memory_order_relaxed));
}

} // namespace larch
