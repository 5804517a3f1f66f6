#include "dsp/buff.h"
#include <gtest/gtest.h>
#include <numeric>

namespace larch {
namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using complexDouble = std::complex<double>;

template <class T> buff<T> counting(uint64_t n, T first) {
  buff<T> b(n);
  for (uint64_t i = 0; i < n; i++) b.data[i] = first + static_cast<T>(static_cast<double>(i));
  return b;
}

template <class T> class buffOfTest : public testing::Test {};
using elementTypes = testing::Types<char, float, double, complexDouble>;
TYPED_TEST_SUITE(buffOfTest, elementTypes);

TYPED_TEST(buffOfTest, zeroElementsTakeNothingAndPointSomewhere) {
  const buff<TypeParam> made(0), plain;
  for (const auto& b : {made, plain}) {
    EXPECT_EQ(b.owner, nullptr);
    EXPECT_NE(b.data, nullptr);
    EXPECT_EQ(b.count, 0u);
  }
  EXPECT_EQ(made.data, plain.data);
}

TYPED_TEST(buffOfTest, failedSliceKeepsTheCountAndHasNoOwner) {
  const buff<TypeParam> source(10);
  CaptureStdout();
  const auto view = slice(source, 4, 7);
  EXPECT_EQ(GetCapturedStdout(), " buff slice error 4  7  10 " + std::to_string(sizeof(TypeParam)));
  EXPECT_EQ(view.owner, nullptr);
  EXPECT_EQ(view.count, 7u);
}

TYPED_TEST(buffOfTest, blocksAreAlignedForVectors) {
  for (uint64_t n : {1, 7, 511, 512, 513}) {
    const buff<TypeParam> b(n);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b.data) % 64, 0u);
    EXPECT_EQ(b.count, n);
    EXPECT_GE(std::size_t(1) << b.owner->sizeClass(), n * sizeof(TypeParam));
  }
}

TYPED_TEST(buffOfTest, everyElementIsSetToTheValue) {
  for (uint64_t n : {0, 1, 7, 511, 512, 513}) {
    const buff<TypeParam> b(n, TypeParam(3));
    for (uint64_t i = 0; i < n; i++) ASSERT_EQ(b.data[i], TypeParam(3)) << i;
  }
}

TEST(buffTest, copiesAreViewsOfTheSameSamples) {
  buff<double> a(16, 1.0);
  buff<double> b = a, c;
  c = b;
  b.data[3] = 7.0;
  EXPECT_EQ(a.data[3], 7.0);
  EXPECT_EQ(c.data, a.data);
  EXPECT_EQ(a.owner.use_count(), 3);
}

TEST(buffTest, moveEmptiesTheSource) {
  buff<float> a(8, 2.0f);
  float* const data = a.data;
  buff<float> b = std::move(a);
  EXPECT_EQ(a.owner, nullptr);
  EXPECT_EQ(a.count, 0u);
  EXPECT_NE(a.data, nullptr);
  buff<float> c;
  c = std::move(b);
  EXPECT_EQ(c.data, data);
  EXPECT_EQ(c.owner.use_count(), 1);
  EXPECT_EQ(b.owner, nullptr);
}

TEST(buffTest, copyFromLongerToShorterLeavesTheDestination) {
  const auto source = counting<double>(9, 100.0);
  const auto dest = counting<double>(8, 0.0);
  CaptureStdout();
  source.copy(dest);
  EXPECT_EQ(GetCapturedStdout(), " buff copy error9 > 8");
  for (int i = 0; i < 8; i++) EXPECT_EQ(dest.data[i], i);
}

TEST(buffTest, copyFromShorterToLongerOverwritesTheFirstElementsOnly) {
  const auto source = counting<float>(3, 100.0f);
  const auto dest = counting<float>(8, 0.0f);
  CaptureStdout();
  source.copy(dest);
  EXPECT_EQ(GetCapturedStdout(), "");
  for (int i = 0; i < 8; i++) EXPECT_EQ(dest.data[i], i < 3 ? 100.0f + i : i);
}

TEST(buffTest, copyOfEqualCountsAndOfNothingSucceeds) {
  const auto source = counting<double>(4, 1.0), dest = counting<double>(4, 50.0);
  CaptureStdout();
  source.copy(dest);
  buff<double>().copy(dest);
  buff<double>().copy(buff<double>());
  EXPECT_EQ(GetCapturedStdout(), "");
  for (int i = 0; i < 4; i++) EXPECT_EQ(dest.data[i], 1.0 + i);
}

TEST(buffTest, copyToFillsUpToTheVeryEnd) {
  const auto source = counting<complexDouble>(10, 100.0);
  const auto dest = counting<complexDouble>(8, 0.0);
  CaptureStdout();
  source.copyTo(2, 5, dest, 3);
  EXPECT_EQ(GetCapturedStdout(), "");
  for (int i = 0; i < 8; i++) EXPECT_EQ(dest.data[i].real(), i < 3 ? i : 102.0 + (i - 3));
}

TEST(buffTest, copyToPastTheEndCopiesNothing) {
  const auto source = counting<double>(10, 100.0), dest = counting<double>(8, 0.0);
  CaptureStdout();
  source.copyTo(0, 5, dest, 4);
  EXPECT_EQ(GetCapturedStdout(), "buff copyTo error");
  CaptureStdout();
  source.copyTo(0, 2, dest, UINT64_MAX); // the sum of the two is 1 in 64 bits
  EXPECT_EQ(GetCapturedStdout(), "buff copyTo error");
  for (int i = 0; i < 8; i++) EXPECT_EQ(dest.data[i], i);
}

TEST(buffTest, copyToTestsOnlyTheDestination) {
  const auto whole = counting<double>(10, 100.0);
  const auto front = slice(whole, 0, 2);
  buff<double> dest(8, 0.0);
  CaptureStdout();
  front.copyTo(1, 6, dest, 0); // the block behind the view is long enough
  EXPECT_EQ(GetCapturedStdout(), "");
  for (int i = 0; i < 6; i++) EXPECT_EQ(dest.data[i], 101.0 + i);
}

TEST(buffTest, sliceSharesOwnerAndSamples) {
  const auto source = counting<double>(10, 0.0);
  const auto view = slice(source, 3, 7);
  EXPECT_EQ(view.owner, source.owner);
  EXPECT_EQ(view.data, source.data + 3);
  EXPECT_EQ(view.count, 7u);
}

TEST(buffTest, emptySliceAtTheEndStillHoldsTheOwner) {
  const buff<float> source(12);
  CaptureStdout();
  const auto view = slice(source, source.count, 0);
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(view.owner, source.owner);
  EXPECT_EQ(view.count, 0u);
}

TEST(buffTest, sliceMessageTakesLowThirtyTwoBits) {
  const buff<double> source(10);
  CaptureStdout();
  const auto view = slice(source, (uint64_t(1) << 32) + 5, (uint64_t(1) << 33) + 6);
  EXPECT_EQ(GetCapturedStdout(), " buff slice error 5  6  10 8");
  EXPECT_EQ(view.count, (uint64_t(1) << 33) + 6);
  CaptureStdout();
  slice(source, UINT64_MAX, 2); // wraps to 1
  EXPECT_EQ(GetCapturedStdout(), " buff slice error 4294967295  2  10 8");
}

TEST(buffTest, slicesKeepTheBlockAliveUntilTheLastGoes) {
  buff<double> source(100, 5.0);
  double* const block = source.data;
  auto a = slice(source, 0, 50), b = slice(source, 50, 50);
  source = {};
  EXPECT_NE(buff<double>(100).data, block);
  a = {};
  EXPECT_NE(buff<double>(100).data, block);
  EXPECT_EQ(b.data[49], 5.0);
  b = {};
  const buff<double> again(100);
  EXPECT_EQ(again.data, block);
  EXPECT_EQ(again.data[0], 5.0); // not cleared
  EXPECT_EQ(again.data[99], 5.0);
}

TEST(buffTest, sizeBeyondAllMemoryIsWhatTheAllocatorReturned) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers' allocators end the process on such sizes";
#endif
  for (uint64_t n : {UINT64_MAX, UINT64_MAX / 16 + 2, uint64_t(1) << 59}) {
    const buff<complexDouble> b(n), filled(n, 1.0);
    EXPECT_EQ(b.data, nullptr);
    EXPECT_EQ(b.count, n);
    EXPECT_EQ(filled.data, nullptr);
  }
}

} // namespace
} // namespace larch
