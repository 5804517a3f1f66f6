// Arrays, memory, transforms and check values.
#include "tests/boundary/testHost.h"
#include <cmath>
#include <complex>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

struct arraysTest : testing::Test {
  arraysTest() { testHost::start(); }
};

constexpr double twoPi = 6.283185307179586;
using sample = std::complex<double>;

std::vector<sample> noise(size_t n) {
  std::mt19937 random(static_cast<unsigned>(n) + 1);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::vector<sample> v(n);
  for (sample& s : v) s = {value(random), value(random)};
  return v;
}
// by the definition; sign -1 forward, 1 inverse
std::vector<sample> transformed(const std::vector<sample>& x, size_t n, int sign) {
  std::vector<sample> out(n);
  for (size_t k = 0; k < n; k++)
    for (size_t i = 0; i < n; i++)
      out[k] += x[i] * std::polar(1.0, sign * twoPi * static_cast<double>(k * i % n) / static_cast<double>(n));
  return out;
}
complexArray* arrayOf(const std::vector<sample>& v) {
  complexArray* a = complexArray_create(static_cast<int32_t>(v.size()));
  std::memcpy(complexArray_data(a), v.data(), v.size() * sizeof(sample));
  return a;
}
void expectNear(complexArray* a, const std::vector<sample>& expected) {
  const double* data = complexArray_data(a);
  for (size_t k = 0; k < expected.size(); k++) {
    ASSERT_NEAR(data[2 * k], expected[k].real(), 1e-10) << k;
    ASSERT_NEAR(data[2 * k + 1], expected[k].imag(), 1e-10) << k;
  }
}

} // namespace

TEST_F(arraysTest, anArrayOfNoElementsIsAnArray) {
  for (const int32_t n : {0, -1, INT32_MIN}) {
    floatArray* f = floatArray_create(n);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(floatArray_size(f), 0);
    EXPECT_NE(floatArray_data(f), nullptr);
    floatArray_delete(f);
  }
  doubleArray* d = doubleArray_create(0);
  EXPECT_EQ(doubleArray_size(d), 0);
  doubleArray_delete(d);
  complexArray* c = complexArray_create(0);
  EXPECT_EQ(complexArray_size(c), 0);
  complexArray_delete(c);
}

TEST_F(arraysTest, deletingNullDoesNothing) {
  floatArray_delete(nullptr);
  doubleArray_delete(nullptr);
  complexArray_delete(nullptr);
}

TEST_F(arraysTest, elementsAreKeptInPlace) {
  for (const int32_t n : {1, 7, 511, 512, 513, 100000}) {
    floatArray* f = floatArray_create(n);
    doubleArray* d = doubleArray_create(n);
    complexArray* c = complexArray_create(n);
    EXPECT_EQ(floatArray_size(f), n);
    EXPECT_EQ(doubleArray_size(d), n);
    EXPECT_EQ(complexArray_size(c), n);
    for (int32_t i = 0; i < n; i++) {
      floatArray_data(f)[i] = static_cast<float>(i);
      doubleArray_data(d)[i] = i * 0.5;
      complexArray_data(c)[2 * i] = i;
      complexArray_data(c)[2 * i + 1] = -i;
    }
    EXPECT_EQ(floatArray_data(f)[n - 1], static_cast<float>(n - 1));
    EXPECT_EQ(doubleArray_data(d)[n - 1], (n - 1) * 0.5);
    EXPECT_EQ(complexArray_data(c)[2 * n - 1], -(n - 1));
    floatArray_delete(f);
    doubleArray_delete(d);
    complexArray_delete(c);
  }
}

TEST_F(arraysTest, transformsFollowTheirDefinition) {
  for (const size_t n : {1u, 2u, 8u, 64u, 512u}) {
    const auto x = noise(n);
    complexArray* in = arrayOf(x);
    complexArray* out = complexArray_create(static_cast<int32_t>(n));
    fft_Fwd(in, out);
    expectNear(out, transformed(x, n, -1));
    fft_Rev(in, out);
    expectNear(out, transformed(x, n, 1));
    fft_Fwd(in, in); // in place
    expectNear(in, transformed(x, n, -1));
    complexArray_delete(in);
    complexArray_delete(out);
  }
}

TEST_F(arraysTest, forwardAndInverseMultiplyByTheLength) {
  const auto x = noise(1024);
  complexArray* a = arrayOf(x);
  fft_Fwd(a, a);
  fft_Rev(a, a);
  std::vector<sample> expected;
  for (const sample& s : x) expected.push_back(s * 1024.0);
  expectNear(a, expected);
  complexArray_delete(a);
}

TEST_F(arraysTest, anyOtherLengthGetsThePowerOfTwoBelow) {
  const auto x = noise(13);
  complexArray* in = arrayOf(x);
  complexArray* out = arrayOf(std::vector<sample>(13, sample(7.0, -7.0)));
  fft_Fwd(in, out);
  auto expected = transformed(x, 8, -1);
  expected.resize(13, sample(7.0, -7.0)); // the rest isn't written
  expectNear(out, expected);
  complexArray_delete(in);
  complexArray_delete(out);
}

TEST_F(arraysTest, theRealTransformFillsTheLowerHalf) {
  const auto x = noise(256);
  doubleArray* in = doubleArray_create(256);
  std::vector<sample> real;
  for (size_t i = 0; i < x.size(); i++) real.push_back(doubleArray_data(in)[i] = x[i].real());
  complexArray* out = arrayOf(std::vector<sample>(256, sample(7.0, -7.0)));
  fft_FwdR(in, out);
  auto expected = transformed(real, 256, -1);
  std::fill(expected.begin() + 129, expected.end(), sample(7.0, -7.0));
  expectNear(out, expected);
  doubleArray_delete(in);
  complexArray_delete(out);
}

TEST_F(arraysTest, memoryIsAlignedAndOfWholeUnits) {
  for (const int32_t bytes : {16, 20, 31, 1000, 1 << 20}) {
    void* p = mem_malloc(bytes);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u);
    std::memset(p, 0x5A, static_cast<size_t>(bytes / 16 * 16));
    mem_free(p);
  }
  for (const int32_t bytes : {15, 1, 0, -1, -15}) mem_free(mem_malloc(bytes)); // no units at all
  EXPECT_EQ(mem_malloc(-16), nullptr);
  mem_free(nullptr);
}

TEST_F(arraysTest, memoryIsCopied) {
  const char from[] = "0123456789";
  char to[] = "----------";
  mem_memcpy(to, from, 4);
  EXPECT_STREQ(to, "0123------");
  mem_memcpy(to, from, 0);
  mem_memcpy(to, from, -1);
  EXPECT_STREQ(to, "0123------");
}

TEST_F(arraysTest, checkValuesAreRemaindersOfALongDivision) {
  constexpr uint32_t divisor = 0x1C06; // x^12 + x^11 + x^10 + x^2 + x
  std::mt19937 random(5);
  for (size_t n = 0; n < 100; n++) {
    std::vector<uint8_t> data(n);
    uint32_t r = 0;
    for (uint8_t& byte : data) {
      byte = static_cast<uint8_t>(random());
      for (int bit = 7; bit >= 0; bit--) {
        r = r << 1 | (byte >> bit & 1u);
        if (r & 0x1000u) r ^= divisor;
      }
    }
    EXPECT_EQ(crc12(data.data(), static_cast<int32_t>(n)), r);
    EXPECT_EQ(crc12_check(data.data(), static_cast<int32_t>(n)), r == 0);
  }
  EXPECT_EQ(crc12(nullptr, 0), 0);
  EXPECT_TRUE(crc12_check(nullptr, 0));
}

TEST_F(arraysTest, transformsRunOnAnyThread) {
  std::vector<std::thread> threads;
  const auto x = noise(256);
  const auto expected = transformed(x, 256, -1);
  for (int t = 0; t < 4; t++) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20; i++) {
        complexArray* a = arrayOf(x);
        fft_Fwd(a, a);
        expectNear(a, expected);
        complexArray_delete(a);
      }
    });
  }
  for (auto& t : threads) t.join();
}
