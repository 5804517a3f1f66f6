// After the first use on a thread no kernel allocates: operator new and the aligned allocator are counted while they run.
#include "dsp/fftConvolver.h"
#include "dsp/halfbandDecimator.h"
#include "dsp/powerSpectrum.h"
#include "dsp/sampleUnpack.h"
#include "dsp/transform.h"
#include "tests/dsp/kernelTesting.h"
#include <gtest/gtest.h>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <thread>

namespace {

thread_local long allocations = 0;

void* counted(std::size_t size) {
  allocations++;
  if (void* p = std::malloc(size > 0 ? size : 1)) return p;
  throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) { return counted(size); }
void* operator new[](std::size_t size) { return counted(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

// What alignedAllocate calls.
extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size) {
  allocations++;
  void* p = nullptr;
  return posix_memalign(&p, alignment, size) == 0 ? p : nullptr;
}

using namespace larch;
using namespace larch::testing;

namespace {

template <class Work> long allocationsOf(Work work) {
  const long before = allocations;
  work();
  return allocations - before;
}

cbuff noiseBuff(uint64_t count) {
  const auto x = noise(count, 1);
  cbuff result(count);
  std::copy(x.begin(), x.end(), result.data);
  return result;
}

class kernelAllocationTest : public variantTest {};

} // namespace

TEST(transformAllocationTest, countingSeesBothAllocators) {
  EXPECT_GT(allocationsOf([] { delete new int(1); }), 0);
  EXPECT_GT(allocationsOf([] { makeAlignedDoubles(100); }), 0);
}

TEST(transformAllocationTest, transformsAllocateOnTheFirstCallOfALengthOnAThreadOnly) {
  const cbuff x = noiseBuff(4096), y(4096);
  const buff<double> real(4096, 0.5);
  const auto all = [&] {
    for (uint64_t n : {1u, 7u, 64u, 1024u, 2048u, 4096u}) {
      fftForward(slice(x, 0, n), y);
      fftInverse(slice(x, 0, n), y);
      fftForwardReal(slice(real, 0, n), y);
    }
  };
  std::thread([&] {
    EXPECT_GT(allocationsOf(all), 0) << "each thread has its own tables";
    EXPECT_EQ(allocationsOf(all), 0);
  }).join();
}

TEST_P(kernelAllocationTest, convolverAllocatesOnceAThread) {
  const cbuff taps = noiseBuff(1536), other = noiseBuff(1536);
  fftConvolver convolver(taps, GetParam());
  const auto work = [&] {
    for (int i = 0; i < 10; i++) convolver.process();
    convolver.setTaps(other);
    convolver.reset();
  };
  EXPECT_EQ(allocationsOf(work), 0);
  std::thread([&] {
    convolver.process();
    EXPECT_EQ(allocationsOf(work), 0);
  }).join();
}

TEST_P(kernelAllocationTest, decimatorAllocatesAtAChangedRatioOnly) {
  const cbuff in = noiseBuff(4096), out(4096);
  for (int32_t ratio : {1, 2, 4, 8, 32, 1024}) {
    halfbandDecimator decimator(GetParam());
    decimator.process(0.1, ratio, out, in);
    EXPECT_EQ(allocationsOf([&] {
                for (double step : {0.1, 0.2, 0.0, -3.0, 0.1})
                  for (uint64_t count : {4096u, 1024u, 1023u, 0u}) decimator.process(step, ratio, out, slice(in, 0, count));
                decimator.decimate(ratio, out, in);
              }),
              0)
        << ratio;
  }
}

TEST_P(kernelAllocationTest, unpackingAndPaintingNeverAllocate) {
  std::vector<uint8_t> bytes(238 * 6);
  std::vector<cdouble> samples(2048);
  std::vector<float> frame(2048);
  powerSpectrum spectrum(GetParam());
  EXPECT_EQ(allocationsOf([&] {
              unpackIq(bytes.data(), 6, 1.0, false, samples.data(), 238, GetParam());
              spectrum.setBand({0, 48000, 0, 48000, 48000});
              spectrum.paint(samples.data(), frame.data());
              spectrum.setBand({10, 48010, 0, 48000, 48000});
              spectrum.paint(samples.data(), frame.data());
            }),
            0);
}

INSTANTIATE_TEST_SUITE_P(variants, kernelAllocationTest, allVariants(), variantTestName);
