// Carriers around a frequency, and what a listener's spectrum, S-meter and audio must show of them.
#pragma once
#include "tests/radio/receivingStation.h"
#include "tests/radio/signalTruth.h"

namespace larch::test {

constexpr double level_dB = 0.1; // tolerance away from a bin's edge
constexpr double farAbove_dB = 70;
constexpr int32_t lowEdge = 200, highEdge = 2800; // Hz of the voice channel

// How the station hears a true frequency.
struct reception {
  int32_t tuned;          // Hz that the transceiver asks of the hardware
  double calibration = 1; // factor of the frequency words
  double clockError = 0;  // of the radio's clock, 1e-6 for 1 ppm
  double step_Hz = 1;     // of the frequency words
  bool mirrored = false;  // the band stands turned round

  double side() const { return mirrored ? -1 : 1; }
  double trueCentre() const { return std::round(tuned * calibration / step_Hz) * step_Hz * (1 + clockError); }
  // Hz from the middle of the band, by the radio's own idea of a second
  double heard(double trueFrequency_Hz) const { return side() * (trueFrequency_Hz - trueCentre()) / (1 + clockError); }
};

// Bins of a frame are `bin` Hz wide; the point `middle` stands for the middle of the stream.
inline void expectCarrier(const spectrumFrame& frame, double heard_Hz, double bin_Hz, double amplitude, double middle = 1023) {
  const double bins = heard_Hz / bin_Hz;
  ASSERT_LT(std::abs(bins - std::round(bins)), 0.4) << "too close to the edge of a bin to tell";
  const auto expected = static_cast<int>(middle + std::round(bins));
  ASSERT_GE(expected, 12);
  ASSERT_LT(expected, 2036);
  const auto begin = frame.bels.begin() + expected - 12, end = frame.bels.begin() + expected + 13;
  EXPECT_EQ(static_cast<int>(std::max_element(begin, end) - frame.bels.begin()), expected);
  for (int i = -3; i <= 3; i++) // the window's main lobe
    EXPECT_NEAR(10 * frame.bels[static_cast<std::size_t>(expected + i)], shownLevel_dB(amplitude, bins - std::round(bins) - i),
                level_dB)
        << "bin " << i;
  const auto mirrored = static_cast<std::size_t>(2 * middle - expected);
  EXPECT_LT(10 * frame.bels[mirrored], 10 * frame.bels[static_cast<std::size_t>(expected)] - farAbove_dB);
}

// The voice channel of a listener holds one tone alone.
inline void expectTone(const listener& who, double heard_Hz, double amplitude) {
  ASSERT_GE(who.mode->heard.size(), 12000u);
  const tone found = toneNear(who.mode->heard, std::abs(heard_Hz));
  EXPECT_NEAR(found.frequency_Hz, std::abs(heard_Hz), 0.02);
  EXPECT_NEAR(20 * std::log10(found.amplitude / amplitude), 0, level_dB);
  EXPECT_LT(found.rest, 1e-3);
  EXPECT_NEAR(who.transceiver->signalStrength.value, 10 * std::log10(10 * amplitude * amplitude), level_dB);
}

inline void hear(const listener& who, bool upper) {
  if (upper)
    who.transceiver->setRxFilter(lowEdge, highEdge);
  else
    who.transceiver->setRxFilter(-highEdge, -lowEdge);
}

// Four carriers around a frequency: two for the spectrum, far from the channel and not mirrors of each other, one in each
// sideband.
struct carrierSet {
  static constexpr double above_bins = 300.2, below_bins = -411.3, upper_Hz = 1000, lower_Hz = -1400;
  static constexpr double above_dBFS = -62, below_dBFS = -75.5, upper_dBFS = -68, lower_dBFS = -71;
  double above, below, upper, lower; // true Hz

  // Where these would stand on a bin's edge they move by a fifth of a bin.
  carrierSet(const reception& at, double bin_Hz)
      : above(offEdge(at, at.tuned + above_bins * bin_Hz, bin_Hz)), below(offEdge(at, at.tuned + below_bins * bin_Hz, bin_Hz)),
        upper(at.tuned + upper_Hz), lower(at.tuned + lower_Hz) {}
  void play(sim::bandScene& scene) const {
    scene.addCarrier(above, above_dBFS, 0.3);
    scene.addCarrier(below, below_dBFS, 1.7);
    scene.addCarrier(upper, upper_dBFS, 2.9);
    scene.addCarrier(lower, lower_dBFS, -1.1);
  }

 private:
  static double offEdge(const reception& at, double f, double bin_Hz) {
    const double bins = at.heard(f) / bin_Hz;
    const double beside = bins - std::round(bins);
    return std::abs(beside) < 0.35 ? f : f - at.side() * std::copysign(0.2 * bin_Hz, beside);
  }
};

} // namespace larch::test
