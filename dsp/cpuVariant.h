// The instruction sets for which the kernels are compiled, and the one that this processor runs.
#pragma once
#include <span>

namespace larch {

// baseline is what the compiler was told to compile for; it needs no support of its own.
enum class cpuVariant { baseline, avx2, avx512 };
constexpr int variantCount = 3;

// All variants that are compiled in, slowest first.
std::span<const cpuVariant> compiledVariants();
bool variantAvailable(cpuVariant variant); // this processor and its operating system can run it
const char* variantName(cpuVariant variant);

// Chooses the fastest available variant. Called at library start; before that the first use chooses, with the same result.
void selectVariants();
cpuVariant selectedVariant(); // rt, any thread

} // namespace larch

// Entry points of kernels: one always-inline template over the vector width, compiled for a target by these attributes and
// allowed to fuse multiplications and additions. A file is never compiled with -mavx2 as a whole: the linker could keep its copy
// of an inline function that others share. An entry point calls nothing: g++ 12 leaves vzeroupper out before a tail call out of a
// targeted function, which then costs 150 ns (bench/unpackBench, thenPlainCode, would show it).
#define LARCH_INLINE inline __attribute__((always_inline))
#if defined(__clang__)
#define LARCH_UNROLL
#define LARCH_FUSE
#define LARCH_UNROLL_LOOP _Pragma("unroll")
#else
#define LARCH_UNROLL , optimize("O3")
#define LARCH_FUSE , optimize("O3", "fp-contract=fast")
#define LARCH_UNROLL_LOOP _Pragma("GCC unroll 64") // -O3 alone stops at 16 turns
#endif
#define LARCH_BASELINE __attribute__((noinline LARCH_UNROLL))
#if defined(__x86_64__)
#define LARCH_X86 1
#define LARCH_AVX2 __attribute__((noinline, target("avx2,fma") LARCH_FUSE))
#define LARCH_AVX2_INLINE inline __attribute__((always_inline, target("avx2,fma")))
#define LARCH_AVX512 __attribute__((noinline, target("avx512f,avx512dq,avx512vl,avx512bw,avx2,fma") LARCH_FUSE))
// Where a result must not depend on the variant: nothing is fused.
#define LARCH_AVX2_EXACT __attribute__((noinline, target("avx2") LARCH_UNROLL))
#define LARCH_AVX512_EXACT __attribute__((noinline, target("avx512f,avx512dq,avx512vl,avx512bw,avx2") LARCH_UNROLL))
#else
#define LARCH_X86 0
#endif
