// The words that a simulated radio gets for speech are the formulas' values, rounded: from the microphone's samples to the
// datagrams' bytes.
#include "dsp/filterDesign.h"
#include "tests/modes/ssbSpeech.h"
#include "tests/radio/transmitQualityGolden.h"
#include "tests/radio/transmitQualityTesting.h"
#include <gtest/gtest.h>

namespace larch::test {
namespace {

// The gain at sample n of a transmission that begins to fall at `fall`.
double envelopeAt(std::size_t n, std::size_t fall) {
  constexpr double shortPi = 3.1415927;
  if (n >= fall) return n < fall + 512 ? 0.5 * std::cos(shortPi * static_cast<double>(n - fall) / 512) + 0.5 : 0;
  if (n < 768) return 0;
  return n <= 1280 ? 0.5 * std::cos(shortPi * static_cast<double>(1280 - n) / 512) + 0.5 : 1;
}

std::vector<cdouble> filtered(const std::vector<cdouble>& x, const cbuff& taps) {
  std::vector<cdouble> y(x.size());
  for (std::size_t n = 0; n < x.size(); n++) {
    double re = 0, im = 0;
    for (std::size_t k = 0; k < taps.count && k <= n; k++) {
      const cdouble h = taps.data[k], z = x[n - k];
      re += h.real() * z.real() - h.imag() * z.imag();
      im += h.real() * z.imag() + h.imag() * z.real();
    }
    y[n] = {re, im};
  }
  return y;
}

// What the modulator makes of its whole input, as one run.
std::vector<cdouble> modulatedInOneRun(std::vector<cdouble> x, int low, int high, double compression) {
  x = filtered(x, makeBandpass(low + 100, high - 100, 48000, 2048, 2048));
  for (cdouble& z : x) {
    z *= 2 * compression;
    if (std::abs(z) > 1) z /= std::abs(z);
  }
  x = filtered(x, makeBandpass(low + 100, high - 100, 48000, 1536, 1536));
  std::vector<cdouble> limited(x.size());
  for (std::size_t n = 3; n < x.size(); n++) {
    double peak = 0;
    for (std::size_t k = n >= 6 ? n - 6 : 0; k < n; k++) peak = std::max(peak, std::abs(x[k]));
    limited[n] = x[n - 3] / (peak > 1 ? 2 * (peak - 1) + 1 : 1) * 0.94;
  }
  return limited;
}

// Behind the transceiver's filter, which begins empty, and the envelope; the words must be these, rounded.
void expectWords(const std::vector<sim::txSample>& words, std::vector<cdouble> modulated, int low, int high, std::size_t fall) {
  ASSERT_GT(words.size(), fall + 1015);
  ASSERT_GE(modulated.size(), words.size());
  modulated = filtered(modulated, makeBandpass(low, high, 48000, 1536, 1536));
  for (std::size_t n = 0; n < words.size(); n++) {
    const cdouble z = 32766 * envelopeAt(n, fall) * modulated[n];
    ASSERT_LE(std::abs(words[n].i - z.imag()), 0.5 + 1e-6) << n;
    ASSERT_LE(std::abs(words[n].q + z.real()), 0.5 + 1e-6) << n;
  }
}

double energyOf(const std::vector<sim::txSample>& words) { // full scale: 1
  double sum = 0;
  for (const sim::txSample& w : words)
    sum += (static_cast<double>(w.i) * w.i + static_cast<double>(w.q) * w.q) / (32766.0 * 32766);
  return sum;
}

// Keeps the blocks that it is given.
class listeningSsb : public ssbModDemod {
 public:
  using ssbModDemod::ssbModDemod;
  void modulate(const cbuff& input, const cbuff& output) override {
    heard.insert(heard.end(), input.data, input.data + input.count);
    ssbModDemod::modulate(input, output);
  }
  std::vector<cdouble> heard;
};

} // namespace

TEST(transmitQualityWordsTest, speechBecomesTheWordsThatTheFormulasGive) {
  int number = 0;
  for (const wordsCase& each : wordsCases) {
    transmittingStation station({each.frequency, each.drive != 255, each.drive});
    station.use(flatSsb(each.compression), each.low, each.high);
    station.speak([from = station.nextHeard()](int64_t n) { return speechAt(n - from); });
    station.send(goldenKeyedGroups / 8 * transmittingStation::batch_s);
    const auto words = station.words();
    ASSERT_GE(words.size(), goldenGroups * 126u);
    for (const goldenWords& g : wordsGolden) {
      if (g.of != number) continue;
      EXPECT_EQ(words[static_cast<std::size_t>(g.index)].i, g.i) << g.of << " " << g.index;
      EXPECT_EQ(words[static_cast<std::size_t>(g.index)].q, g.q) << g.of << " " << g.index;
    }
    number++;
  }
}

// Blocks of 512 in groups of 126, seen as one run: no seam anywhere, nothing but the words' rounding.
TEST(transmitQualityWordsTest, blocksAndGroupsLeaveNoSeam) {
  const sound voice = voiceLikeNoise(0.2);
  constexpr double compression = 6; // its loud half is clipped and limited
  transmittingStation station({});
  station.use(flatSsb(compression));
  station.speak(voice);
  const int64_t from = station.nextHeard();
  constexpr std::size_t batches = 14, fall = batches * 8 * 126;
  station.send(batches * transmittingStation::batch_s);
  const auto words = station.words();
  std::vector<cdouble> microphone;
  for (std::size_t n = 0; n < words.size(); n++)
    microphone.emplace_back(0.707 * static_cast<float>(voice(from + static_cast<int64_t>(n))));
  expectWords(words, modulatedInOneRun(microphone, 200, 2900, compression), 200, 2900, fall);
  EXPECT_GT(energyOf(words), 500) << "the voice was heard";
}

// The speech that the modulator's filters hold when PTT falls begins the next transmission.
TEST(transmitQualityWordsTest, nextTransmissionGoesOnWhereTheModulatorStood) {
  transmittingStation station({});
  const auto mode = keptByCore(std::make_shared<listeningSsb>(nullptr));
  mode->UseMicEQ.set(false);
  station.use(mode, -2900, -200);
  station.speak(sineOf(1000, 0.5));
  station.send(6 * transmittingStation::batch_s);
  const std::size_t before = mode->heard.size();
  station.speak([](int64_t) { return 0.0; });
  station.send(4 * transmittingStation::batch_s);
  const auto all = modulatedInOneRun(mode->heard, -2900, -200, 1);
  const auto words = station.words();
  expectWords(words, {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()}, -2900, -200, 4 * 8 * 126);
  EXPECT_GT(energyOf(words), 50);
}

} // namespace larch::test
