#include "modes/sigGenModDemod.h"
#include "tests/modes/sigGenGolden.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;

constexpr double sumsDiffer = 1e-15; // cosines of two mathematical libraries

std::vector<cdouble> samplesOf(const cbuff& b) { return {b.data, b.data + b.count}; }

class sigGenModDemodTest : public testing::Test {
 protected:
  std::vector<cdouble> send(uint64_t n) {
    const cbuff out(n, cdouble(9, 9));
    mode->modulate(cbuff(n, 0.25), out);
    return samplesOf(out);
  }
  testGroup env;
  std::shared_ptr<sigGenModDemod> mode = keptByCore(std::make_shared<sigGenModDemod>(env.group));
};

TEST_F(sigGenModDemodTest, hearsTheChannel) {
  for (uint64_t n : {0, 1, 7, 511, 512, 513}) {
    cbuff block(n);
    for (uint64_t i = 0; i < n; i++) block.data[i] = {0.25 * static_cast<double>(i), -1.0};
    const auto audio = mode->demodulate(block);
    ASSERT_EQ(audio.count, n);
    for (uint64_t i = 0; i < n; i++) EXPECT_EQ(audio.data[i], 0.25f * static_cast<float>(i));
  }
}

TEST_F(sigGenModDemodTest, bothLevelsZeroIsZeros) {
  mode->ampl1.set(0.0);
  for (const cdouble& z : send(512)) EXPECT_EQ(std::abs(z), 0.0);
}

TEST_F(sigGenModDemodTest, startsAsAPlainCarrier) { EXPECT_EQ(send(512), std::vector<cdouble>(512, cdouble(1))); }

TEST_F(sigGenModDemodTest, carrierAndToneBesideItUnlimited) {
  mode->ampl1.set(0.75);
  mode->ampl2.set(1.5);
  mode->freq2.set(700.0);
  std::vector<cdouble> out;
  for (uint64_t n : {0, 1, 7, 511, 512, 513, 5000})
    for (const cdouble& z : send(n)) out.push_back(z);
  const double step = 2 * 700.0 * 3.1415927 / 48000;
  double largest = 0;
  for (size_t i = 0; i < out.size(); i++) {
    const double phase = std::fmod(step * static_cast<double>(i + 1), 6.2831854); // the turn's short form
    EXPECT_NEAR(out[i].real(), 0.75 + 1.5 * std::cos(phase), 2e-7) << i;
    EXPECT_NEAR(out[i].imag(), -1.5 * std::sin(phase), 2e-7) << i;
    largest = std::max(largest, std::abs(out[i]));
  }
  EXPECT_GT(largest, 2.2) << "above 1.0, as set";
}

// In blocks of changing length, as one long one.
TEST_F(sigGenModDemodTest, everySampleIsThatOfThePlainFormulas) {
  std::vector<cdouble> out;
  const goldenSample* last = nullptr;
  for (const goldenSample& g : goldenSamples) {
    if (!last || last->ampl1 != g.ampl1 || last->ampl2 != g.ampl2 || last->freq2 != g.freq2) {
      mode = keptByCore(std::make_shared<sigGenModDemod>(env.group)); // its phase is 0
      mode->ampl1.set(g.ampl1);
      mode->ampl2.set(g.ampl2);
      mode->freq2.set(g.freq2);
      out.clear();
      for (uint64_t n = 1; out.size() < goldenLength; n = n * 3 % 1021)
        for (const cdouble& z : send(n)) out.push_back(z);
    }
    last = &g;
    const cdouble z = out[static_cast<size_t>(g.index)];
    EXPECT_NEAR(z.real(), g.re, sumsDiffer) << g.freq2 << " Hz, sample " << g.index;
    EXPECT_NEAR(z.imag(), g.im, sumsDiffer) << g.freq2 << " Hz, sample " << g.index;
  }
}

TEST_F(sigGenModDemodTest, negativeFrequencyTurnsTheOtherWay) {
  mode->ampl1.set(0.0);
  mode->ampl2.set(1.0);
  mode->freq2.set(-20000.0);
  std::vector<cdouble> out;
  for (int i = 0; i < 20; i++) out = send(50000);
  for (size_t i = 1; i < out.size(); i++) ASSERT_NEAR(std::arg(out[i] / out[i - 1]), 2 * 20000.0 * 3.1415927 / 48000, 1e-8) << i;
}

TEST_F(sigGenModDemodTest, frequencyThatIsNoNumberIsForgotten) {
  mode->ampl2.set(0.5);
  for (double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300}) {
    mode->freq2.set(bad);
    send(512);
    mode->freq2.set(200.0);
    send(512);
    const auto out = send(512);
    for (size_t i = 1; i < 512; i++)
      EXPECT_NEAR(std::arg((out[i - 1] - 1.0) / (out[i] - 1.0)), 2 * 200.0 * 3.1415927 / 48000, 2e-7) << bad;
  }
}

} // namespace
} // namespace larch::test
