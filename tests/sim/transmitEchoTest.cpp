#include "sim/transmitEcho.h"
#include <stdexcept>
#include <gtest/gtest.h>
#include "sim/nyquistFold.h"
#include "tests/sim/transmittingHost.h"

using namespace larch::sim;
using namespace larch::simtest;

namespace {
constexpr double delay_s = 0.1;
constexpr size_t delaySamples = 4800;

// a tone of the mirrored wire: above_Hz over the carrier
auto tone(double above_Hz, double amplitude = 1) {
  return [=](size_t n) {
    return std::polar(amplitude, -2 * M_PI * std::fmod(above_Hz * static_cast<double>(n) / transmitRate_Hz, 1.0));
  };
}
std::complex<double> nothing(size_t) { return 0; }

struct echoing : transmittingHost {
  explicit echoing(radioOptions options = {}, double level_dBFS = -20, double back_s = delay_s) : transmittingHost(options) {
    radio->setTransmitEcho(std::make_shared<transmitEcho>(scene, back_s, level_dBFS));
  }
  samples from(size_t first, size_t count) const {
    if (heard.size() < first + count) throw std::out_of_range("not heard so far");
    return samples(heard.begin() + static_cast<std::ptrdiff_t>(first),
                   heard.begin() + static_cast<std::ptrdiff_t>(first + count));
  }
};

double peakOf(const samples& z) {
  double peak = 0;
  for (const auto& v : z) peak = std::max(peak, std::abs(v));
  return peak;
}
} // namespace

TEST(transmitEchoTest, aToneAboveTheCarrierIsHeardAboveIt) {
  echoing s;
  s.begin(7100000, 7103000);
  s.exchange(150, true, tone(1000, 0.5));
  const samples z = s.from(2 * delaySamples, 4800);
  // 4000 Hz above the receiver's centre: negative on the wire
  EXPECT_NEAR(dB(dftAt(z, -4000, 48000)), -20 - 6.02, 0.02);
  EXPECT_LT(dB(dftAt(z, -2000, 48000)), -90); // the other side of the carrier
  EXPECT_LT(dB(dftAt(z, 4000, 48000)), -90);
}

TEST(transmitEchoTest, samplesComeBackAfterTheDelay) {
  for (const double back_s : {0.05, 0.1, 0.7}) {
    echoing s({}, 0, back_s);
    s.begin(7100000, 7100000);
    std::vector<std::complex<double>> given;
    const auto chirp = [&](size_t n) {
      const double t = static_cast<double>(n);
      return given.emplace_back(std::polar(0.5, 1e-4 * t * t));
    };
    s.exchange(40, true, chirp);
    s.exchange(400, false, nothing);
    // the first frame came when 126 samples had been sent
    const size_t at = 126 + static_cast<size_t>(back_s * 48000);
    EXPECT_EQ(peakOf(s.from(0, at - 8)), 0);
    for (size_t n = 100; n < 40 * 126 - 100; ++n) ASSERT_LT(std::abs(s.heard[at + n] - given[n]), 1e-4) << n;
    EXPECT_EQ(peakOf(s.from(at + 40 * 126 + 9, 4800)), 0);
  }
}

TEST(transmitEchoTest, samplesWithoutMoxStayInTheRadio) {
  echoing s;
  s.begin(7100000, 7100000);
  s.exchange(100, false, tone(1000));
  EXPECT_EQ(peakOf(s.heard), 0);
  EXPECT_TRUE(s.scene->current()->signals.empty());
}

TEST(transmitEchoTest, lostDatagramsAreAHole) {
  echoing s({}, 0);
  s.begin(7100000, 7100000);
  s.exchange(50, true, tone(0));
  s.lose(3);
  s.exchange(50, true, tone(0));
  s.exchange(50, false, nothing);
  const size_t begin = 126 + delaySamples, hole = begin + 50 * 126, after = hole + 3 * 126, end = after + 50 * 126;
  for (size_t n = begin + 10; n < hole - 10; ++n) ASSERT_NEAR(std::abs(s.heard[n]), 1, 1e-3) << n;
  EXPECT_LT(peakOf(s.from(hole + 10, 3 * 126 - 20)), 1e-6);
  for (size_t n = after + 10; n < end - 10; ++n) ASSERT_NEAR(std::abs(s.heard[n]), 1, 1e-3) << n;
}

TEST(transmitEchoTest, framesWithoutSyncAreAHole) {
  echoing s({}, 0);
  s.begin(7100000, 7100000);
  s.exchange(10, true, tone(0));
  std::array<std::complex<double>, 126> z;
  z.fill(1);
  bytes d = transmitDatagram(s.host.sequence++, registerCommand(4, 0), registerCommand(5, 0), true, z.data());
  d[8] = 0;
  s.listen(1);
  s.host.send(d);
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.problems == 1; }));
  s.listen(50);
  const size_t hole = 126 + delaySamples + 10 * 126;
  EXPECT_NEAR(std::abs(s.heard[hole - 10]), 1, 1e-3);
  EXPECT_LT(peakOf(s.from(hole + 10, 63 - 20)), 1e-6);
  EXPECT_NEAR(std::abs(s.heard[hole + 63 + 10]), 1, 1e-3);
}

TEST(transmitEchoTest, eachPieceIsOnTheFrequencyItWasSentOn) {
  echoing s;
  s.begin(7100000, 7101000);
  s.exchange(80, true, tone(0));
  s.next = registerCommand(1, 7105000);
  s.exchange(80, true, tone(0));
  s.next = registerCommand(1, 7110000); // tuned away while what was sent still waits
  s.exchange(100, false, nothing);
  const size_t begin = 126 + delaySamples, change = begin + 80 * 126;
  EXPECT_NEAR(dB(dftAt(s.from(begin + 100, 80 * 126 - 200), -1000, 48000)), -20, 0.02);
  EXPECT_NEAR(dB(dftAt(s.from(change + 100, 80 * 126 - 200), -5000, 48000)), -20, 0.02);
  EXPECT_LT(dB(dftAt(s.heard, -10000, 48000)), -90);
  // one oscillator: no step in phase
  const auto instant = [&](size_t n, double f) {
    return std::arg(s.heard[n] * std::polar(1.0, 2 * M_PI * f * (static_cast<double>(n) - static_cast<double>(change)) / 48000));
  };
  EXPECT_NEAR(std::remainder(instant(change - 50, 1000) - instant(change + 50, 5000), 2 * M_PI), 0, 0.02);
}

TEST(transmitEchoTest, whatWasPlayedLeavesTheScene) {
  echoing s;
  s.begin(7100000, 7100000);
  for (int i = 0; i < 5; ++i) {
    s.exchange(50, true, tone(0));
    EXPECT_GE(s.scene->current()->signals.size(), 1u);
    s.exchange(400, false, nothing); // 1.05 s
    EXPECT_EQ(s.scene->current()->signals.size(), 0u);
  }
  s.exchange(3, true, tone(0));
  EXPECT_EQ(s.scene->current()->signals.size(), 1u);
  s.radio->setTransmitEcho(nullptr);
  EXPECT_EQ(s.scene->current()->signals.size(), 0u);
}

// A host that keys with MOX: one signal with holes, not one for each time.
TEST(transmitEchoTest, shortBreaksAreSilenceInOneSignal) {
  echoing s({}, 0);
  s.begin(7100000, 7100000);
  const uint64_t before = s.scene->current()->revision;
  for (int i = 0; i < 300; ++i) s.exchange(1, i % 2 == 0, tone(500));
  EXPECT_EQ(s.scene->current()->signals.size(), 1u);
  EXPECT_EQ(s.scene->current()->revision, before + 1);
  s.exchange(60, false, nothing);
  const size_t begin = 126 + delaySamples;
  for (size_t i = 0; i < 300; ++i) {
    const size_t at = begin + 126 * i;
    for (size_t n = at + 40; n < at + 86; ++n) {
      const std::complex<double> wanted = i % 2 == 0 ? tone(500)(n - begin) : 0;
      ASSERT_LT(std::abs(s.heard[n] - wanted), 0.02) << i; // the edges ring
    }
  }
  s.exchange(60, false, nothing);
  EXPECT_TRUE(s.scene->current()->signals.empty());
}

TEST(transmitEchoTest, aFrequencyThatComesBackIsTheSameSignal) {
  echoing s({}, 0);
  s.begin(7100000, 7101000);
  const uint64_t before = s.scene->current()->revision;
  for (int i = 0; i < 40; ++i) {
    s.next = registerCommand(1, i % 2 == 0 ? 7101000 : 7105000);
    s.exchange(4, true, tone(0));
  }
  EXPECT_EQ(s.scene->current()->signals.size(), 2u);
  EXPECT_EQ(s.scene->current()->revision, before + 2);
  s.exchange(60, false, nothing);
  // one oscillator that moves: its phase a little after each change is the phase before plus what it turned since
  const size_t begin = 126 + delaySamples;
  for (size_t i = 1; i < 40; ++i) {
    const size_t change = begin + i * 4 * 126, before50 = change - 50, after50 = change + 50;
    const double f0 = i % 2 == 1 ? 1000 : 5000, f1 = 6000 - f0;
    const double turned = -2 * M_PI * 50 * (f0 + f1) / 48000;
    EXPECT_NEAR(std::remainder(std::arg(s.heard[after50] / s.heard[before50]) - turned, 2 * M_PI), 0, 0.05) << i;
  }
}

TEST(transmitEchoTest, moreFrequenciesThanItKeepsAreSilent) {
  echoing s({}, 0, 1);
  s.begin(7100000, 7100000);
  for (uint32_t i = 0; i < 100; ++i) {
    s.next = registerCommand(1, 7100000 + 100 * i);
    s.exchange(1, true, tone(0));
  }
  EXPECT_EQ(s.scene->current()->signals.size(), transmitEcho::mostFrequencies);
  s.exchange(500, false, nothing);
  EXPECT_TRUE(s.scene->current()->signals.empty());
  const size_t begin = 126 + 48000;
  for (size_t i = 0; i < 100; ++i) {
    const double level = std::abs(s.heard[begin + 126 * i + 63]);
    if (i == transmitEcho::mostFrequencies) continue; // the edge rings
    EXPECT_NEAR(level, i < transmitEcho::mostFrequencies ? 1 : 0, 0.05) << i;
  }
  s.next = registerCommand(1, 7109900);
  s.exchange(400, true, tone(0)); // there is room again
  EXPECT_EQ(s.scene->current()->signals.size(), 1u);
  EXPECT_NEAR(std::abs(s.heard[s.heard.size() - 100]), 1, 1e-3);
}

TEST(transmitEchoTest, whatWasPlayedGoesWhileTheTransmissionGoesOn) {
  echoing s({}, 0, 0.5);
  s.begin(7100000, 7100000);
  s.exchange(600, true, tone(0));
  const auto signals = s.scene->current()->signals;
  ASSERT_EQ(signals.size(), 1u);
  const double now_s = s.radio->report().radioTime_s;
  const auto readAt = [&](double time_s) {
    std::complex<double> a[2];
    return signals[0]->envelope({time_s, 1 / 48000.0, 2}, {-24000, 24000}, a);
  };
  EXPECT_EQ(readAt(now_s - 0.15), envelopeShape::silent);
  EXPECT_EQ(readAt(now_s - 0.05), envelopeShape::varying);
  EXPECT_EQ(readAt(now_s + 0.49), envelopeShape::varying);
  EXPECT_EQ(readAt(now_s + 0.51), envelopeShape::silent);
}

// The stream's time stands still between two streams: what is sent after the start may be due before what still waits.
TEST(transmitEchoTest, aNewStreamIsHeardBesideWhatStillWaits) {
  echoing s({}, 0, 0.5);
  s.begin(7100000, 7100000);
  std::array<std::complex<double>, 126> z;
  z.fill(0.25);
  const uint64_t before = s.radio->report().dataReceived;
  for (uint64_t i = 0; i < 200; ++i) // all at once
    s.host.send(transmitDatagram(s.host.sequence++, registerCommand(4, 0), registerCommand(5, 0), true, z.data()));
  ASSERT_TRUE(s.radio->waitUntil([&](const radioReport& r) { return r.dataReceived == before + 200; }));
  s.host.stop();
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return !r.streaming; }));
  s.host.start(1);
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.streaming; }));
  z.fill(0.5);
  for (uint64_t i = 0; i < 100; ++i)
    s.host.send(transmitDatagram(s.host.sequence++, registerCommand(4, 0), registerCommand(5, 0), true, z.data()));
  ASSERT_TRUE(s.radio->waitUntil([&](const radioReport& r) { return r.dataReceived == before + 300; }));
  s.listen(430);
  EXPECT_NEAR(std::abs(s.heard[24000 + 50 * 126]), 0.75, 1e-3);
  EXPECT_NEAR(std::abs(s.heard[24000 + 150 * 126]), 0.25, 1e-3);
  EXPECT_LT(peakOf(s.from(24000 + 200 * 126 + 10, 4000)), 1e-6);
}

TEST(transmitEchoTest, aLongTransmissionKeepsItsPlaceInTime) {
  echoing s({}, 0);
  s.begin(7100000, 7100000);
  const auto twoTones = [](size_t n) { return tone(300, 0.5)(n) + tone(-700, 0.3)(n); };
  s.exchange(381 * 12, true, twoTones);
  const size_t begin = 126 + delaySamples;
  for (size_t n = begin + 100; n < s.heard.size(); ++n) ASSERT_LT(std::abs(s.heard[n] - twoTones(n - begin)), 1e-3) << n;
}

TEST(transmitEchoTest, aHostThatStopsAndComesBackStartsTheDelayAnew) {
  echoing s({}, 0);
  s.begin(7100000, 7100000);
  s.exchange(20, true, tone(0));
  s.listen(200); // half a second without a word: what came is played, then silence
  EXPECT_LT(peakOf(s.from(126 + delaySamples + 20 * 126 + 10, 4800)), 1e-6);
  const size_t back = s.heard.size() + 126 + delaySamples;
  s.exchange(100, true, tone(0));
  EXPECT_LT(peakOf(s.from(back - 200, 190)), 1e-6);
  EXPECT_NEAR(std::abs(s.heard[back + 100]), 1, 1e-3);
}

TEST(transmitEchoTest, whatAHostSendsFarTooEarlyIsDropped) {
  echoing s({}, 0);
  s.begin(7100000, 7100000);
  std::array<std::complex<double>, 126> z;
  z.fill(0.5);
  const uint64_t before = s.radio->report().dataReceived;
  for (uint64_t i = 0; i < 2000; ++i) { // 5.25 s of samples at once
    s.host.send(transmitDatagram(s.host.sequence++, registerCommand(4, 0), registerCommand(5, 0), true, z.data()));
    ASSERT_TRUE(s.radio->waitUntil([&](const radioReport& r) { return r.dataReceived == before + i + 1; }));
  }
  s.listen(400);
  s.listen(400);
  s.listen(400); // 3.15 s
  EXPECT_NEAR(std::abs(s.heard[delaySamples + 100]), 0.5, 1e-3);
  EXPECT_LT(peakOf(s.from(s.heard.size() - 9600, 9600)), 1e-6); // not 5 s long
}

TEST(transmitEchoTest, theInternalKeyerSendsACarrierFromTheKeyBits) {
  for (const bool mox : {true, false}) {
    echoing s;
    s.begin(7100000, 7100500);
    s.next = registerCommand(15, 1u << 24);
    const auto keyed = [](size_t n) { return std::complex<double>(n / 126 % 40 < 20 ? 3 / 32767.0 : 0); };
    s.exchange(1, false, nothing);
    s.sent = 0;
    s.exchange(40, mox, keyed);
    s.exchange(60, false, nothing);
    const size_t begin = 2 * 126 + delaySamples, length = 20 * 126;
    EXPECT_NEAR(dB(dftAt(s.from(begin + 300, length - 300), -500, 48000)), -20, 0.02);
    EXPECT_NEAR(std::abs(s.heard[begin + 120]), 0.05, 0.001); // the middle of the rise of 5 ms
    EXPECT_NEAR(std::abs(s.heard[begin + length + 120]), 0.05, 0.001);
    EXPECT_LT(peakOf(s.from(begin + length + 300, 2000)), 1e-6);
  }
}

TEST(transmitEchoTest, aReceiverAtTheEdgeHearsItsPart) {
  echoing s;
  s.begin(7100000, 7116000); // 8 kHz below the edge of the receiver
  s.exchange(150, true, [](size_t n) { return tone(-3000, 0.5)(n) + tone(15000, 0.5)(n); });
  const samples z = s.from(9600, 9000);
  EXPECT_NEAR(dB(dftAt(z, -13000, 48000)), -26.02, 0.1);
  EXPECT_LT(dB(dftAt(z, 48000 - 31000, 48000)), -70); // what lies beyond it doesn't fold in
}

TEST(transmitEchoTest, clockErrorMovesTransmitterAndReceiverTogether) {
  radioOptions options;
  options.clockError_ppm = 100;
  echoing s(options);
  s.begin(7100000, 7103000);
  s.exchange(150, true, tone(1000));
  EXPECT_NEAR(dB(dftAt(s.from(2 * delaySamples, 4800), -4000, 48000)), -20, 0.02);
  const auto signals = s.scene->current()->signals;
  ASSERT_EQ(signals.size(), 1u);
  EXPECT_NEAR(signals[0]->frequency_Hz(), 7103000 * 1.0001, 1e-6);
}

// In an odd zone the host's word is the alias, and its sideband on the wire is the other one: true to the sign of its receiver.
TEST(transmitEchoTest, anOddZoneIsUprightInRadioFrequency) {
  radioOptions options;
  options.transmitZone = 1;
  echoing s(options);
  const uint32_t half = 38400000;
  s.begin(2 * half - 50100000, 2 * half - 50103000); // host at 50.1 MHz, transmitter at 50.103 MHz
  s.exchange(150, true, tone(-1000));                // conjugated by the host: 1 kHz above in radio frequency
  const auto signals = s.scene->current()->signals;
  ASSERT_EQ(signals.size(), 1u);
  EXPECT_NEAR(signals[0]->frequency_Hz(), 50103000, 1e-6);
  // a receiver in an odd zone gets the conjugate: 4000 Hz above comes as +4000
  EXPECT_NEAR(dB(dftAt(s.from(2 * delaySamples, 4800), 4000, 48000)), -20, 0.02);
  EXPECT_LT(dB(dftAt(s.from(2 * delaySamples, 4800), 2000, 48000)), -90);
  std::complex<double> a[2];
  const double at = s.radio->report().radioTime_s - delay_s / 2;
  EXPECT_EQ(signals[0]->envelope({at, 1 / 48000.0, 2}, {-24000, 24000}, a), envelopeShape::varying);
  EXPECT_NEAR(std::arg(a[1] / a[0]), 2 * M_PI * 1000 / 48000, 1e-3);
}

TEST(nyquistFoldTest, unfoldedIsTheInverseOfTheFold) {
  for (const double f : {1e6, 30e6, 40e6, 70e6, 100e6, 144e6})
    EXPECT_NEAR(unfolded(foldIntoBand(f, 76.8e6).image[0].frequency_Hz, static_cast<int>(f / 38.4e6), 76.8e6), f, 1e-6);
}
