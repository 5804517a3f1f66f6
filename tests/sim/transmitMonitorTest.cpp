#include "sim/transmitMonitor.h"
#include <cstdlib>
#include <string>
#include <gtest/gtest.h>
#include "sim/recordingSource.h"
#include "sim/wavFile.h"
#include "tests/sim/transmittingHost.h"

using namespace larch::sim;
using namespace larch::simtest;

namespace {
// above the carrier: the wire is mirrored
auto tone(double above_Hz, double amplitude) {
  return [=](size_t n) {
    return std::polar(amplitude, -2 * M_PI * std::fmod(above_Hz * static_cast<double>(n) / transmitRate_Hz, 1.0));
  };
}
std::complex<double> nothing(size_t) { return 0; }

std::string temporaryFile() {
  std::string path = testing::TempDir() + "larchXXXXXX";
  const int handle = mkstemp(path.data());
  EXPECT_GE(handle, 0);
  close(handle);
  return path;
}
} // namespace

TEST(transmitMonitorTest, tellsEachTransmissionWhenItIsOver) {
  transmittingHost s;
  std::vector<std::string> heard;
  s.radio->onTransmission([&](const transmission& t) { heard.push_back(describeTransmission(t)); });
  s.begin(7100000, 7101000);
  s.next = {0, 0, 0x04 << 1, 0, 4};
  s.exchange(1, false, nothing);
  s.next = registerCommand(9, 200u << 24);
  s.exchange(1, false, tone(0, 0.1)); // 126 samples without MOX
  s.exchange(400, true, [](size_t n) { return tone(400, 0.25)(n) + tone(1900, 0.25)(n); });
  EXPECT_TRUE(s.radio->transmissions().empty());
  s.exchange(5, false, nothing);
  s.exchange(10, true, tone(0, 0.5));
  s.exchange(1, false, nothing);
  const auto over = s.radio->transmissions();
  ASSERT_EQ(over.size(), 2u);
  const transmission& t = over[0];
  EXPECT_NEAR(t.start_s, 3 * 126 / 48000.0, 1e-9); // three datagrams had been sent to the host
  EXPECT_EQ(t.reading.samples, 400u * 126);
  EXPECT_EQ(t.first.frequency_Hz, 7101000);
  EXPECT_EQ(t.first.filterBits, 4);
  EXPECT_EQ(t.last.drive, 200);
  EXPECT_TRUE(t.first == t.last);
  EXPECT_NEAR(t.reading.peak, 0.5, 1e-4);
  EXPECT_NEAR(t.reading.power, 0.125, 1e-5); // two tones
  EXPECT_NEAR(t.reading.low_Hz, 400 - 12, 10);
  EXPECT_NEAR(t.reading.high_Hz, 1900 + 12, 10);
  EXPECT_EQ(t.reading.clipped, 0u);
  EXPECT_EQ(t.withoutMox, 126u);
  EXPECT_EQ(t.lost, 0u);
  EXPECT_EQ(over[1].withoutMox, 0u);
  EXPECT_NEAR(over[1].start_s, 408 * 126 / 48000.0, 1e-9);
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(heard[0].substr(0, heard[0].find(", 99 %")),
            "0.008 s: 1.050 s on 7101000 Hz, filters 0x04, drive 200, peak -6.0 dBFS, mean -9.0 dBFS");
  EXPECT_NE(heard[0].find("(+3"), std::string::npos) << heard[0];
  EXPECT_NE(heard[0].find(", 0 clipped, 126 without MOX"), std::string::npos) << heard[0];
  s.radio->clearRecords();
  EXPECT_TRUE(s.radio->transmissions().empty());
}

TEST(transmitMonitorTest, whatChangesMeanwhileIsTold) {
  transmittingHost s;
  s.begin(7100000, 7101000);
  s.next = {0, 0, 0x01 << 1, 0, 4};
  s.exchange(40, true, tone(0, 0.5)); // 105 ms
  s.next = {0, 0, 0x02 << 1, 0, 4};
  s.exchange(1, true, tone(0, 0.5));
  s.next = registerCommand(1, 7102000);
  s.exchange(1, true, tone(0, 0.5));
  s.exchange(1, false, nothing);
  ASSERT_EQ(s.radio->transmissions().size(), 1u);
  const std::string line = describeTransmission(s.radio->transmissions()[0]);
  EXPECT_NE(line.find("on 7101000 to 7102000 Hz, filters 0x01 to 0x02, drive 0,"), std::string::npos) << line;
}

TEST(transmitMonitorTest, registersThatComeLateAreNoChange) {
  transmittingHost s;
  s.begin(7100000, 14095600);
  const auto send = [&s](size_t datagrams) { s.exchange(datagrams, true, tone(0, 0.5)); };
  const auto line = [&s] {
    s.exchange(1, false, nothing);
    return describeTransmission(s.radio->transmissions().back());
  };
  send(19); // 50 ms
  s.next = registerCommand(1, 7160000);
  send(1);
  s.next = registerCommand(9, 64u << 24);
  send(1);
  s.next = {0, 0, 0x02 << 1, 0, 4};
  send(40);
  std::string told = line();
  EXPECT_NE(told.find("on 7160000 Hz, filters 0x02, drive 64,"), std::string::npos) << told;
  // each value counts by itself, from when it came; lost samples are time, too
  send(1);
  s.next = registerCommand(1, 7161000);
  send(38);
  s.lose(2); // the frequency has stood for 105 ms
  s.next = registerCommand(1, 7162000);
  send(1);
  s.next = registerCommand(1, 7163000);
  send(1);
  told = line();
  EXPECT_NE(told.find("on 7161000 to 7163000 Hz, filters 0x02, drive 64,"), std::string::npos) << told;
  // and back: no change
  send(40);
  s.next = registerCommand(9, 65u << 24);
  send(1);
  s.next = registerCommand(9, 64u << 24);
  send(1);
  told = line();
  EXPECT_NE(told.find("on 7163000 Hz, filters 0x02, drive 64,"), std::string::npos) << told;
}

TEST(transmitMonitorTest, countsSamplesOnTheLimit) {
  transmittingHost s;
  s.begin(7100000, 7100000);
  // a host that limits to 32766 comes within one step of that in any direction
  s.exchange(10, true,
             [](size_t n) { return std::polar(n % 3 == 0 ? 32766 / 32767.0 : 32763 / 32767.0, 0.37 * static_cast<double>(n)); });
  s.exchange(1, false, nothing);
  ASSERT_EQ(s.radio->transmissions().size(), 1u);
  EXPECT_EQ(s.radio->transmissions()[0].reading.clipped, 420u);
  s.exchange(10, true, tone(100, 0.99));
  s.exchange(1, false, nothing);
  EXPECT_EQ(s.radio->transmissions()[1].reading.clipped, 0u);
}

TEST(transmitMonitorTest, lostDatagramsCountAsSilence) {
  transmittingHost s;
  s.begin(7100000, 7100000);
  s.exchange(6, true, tone(0, 0.5));
  s.lose(2);
  s.exchange(2, true, tone(0, 0.5));
  s.exchange(1, false, nothing);
  s.lose(2); // not of a transmission
  s.exchange(1, false, nothing);
  ASSERT_EQ(s.radio->transmissions().size(), 1u);
  const transmission t = s.radio->transmissions()[0];
  EXPECT_EQ(t.reading.samples, 10u * 126);
  EXPECT_EQ(t.lost, 2u * 126);
  EXPECT_NEAR(t.reading.power, 0.25 * 0.8, 1e-4);
  EXPECT_NE(describeTransmission(t).find(", 252 lost"), std::string::npos);
}

TEST(transmitMonitorTest, theOneUnderWayIsReadOverItsLastSecond) {
  transmittingHost s;
  s.begin(7100000, 7105000);
  EXPECT_FALSE(s.radio->transmitting());
  s.exchange(200, true, tone(-2000, 0.5));
  auto now = s.radio->transmitting();
  ASSERT_TRUE(now);
  EXPECT_EQ(now->reading.samples, 200u * 126); // all of it
  EXPECT_NEAR(now->reading.low_Hz, -2000, 40);
  s.exchange(400, true, tone(1000, 0.25)); // 1.05 s
  now = s.radio->transmitting();
  ASSERT_TRUE(now);
  EXPECT_EQ(now->last.frequency_Hz, 7105000);
  EXPECT_EQ(now->reading.samples, 48000u);
  EXPECT_NEAR(now->reading.peak, 0.25, 1e-4);
  EXPECT_NEAR(now->reading.power, 0.0625, 1e-5);
  EXPECT_NEAR(now->reading.low_Hz, 1000 - 17, 10);
  EXPECT_NEAR(now->reading.high_Hz, 1000 + 17, 10);
  for (int i = 0; i < 40; ++i) {
    s.exchange(20, true, nothing);
    now = s.radio->transmitting();
    ASSERT_EQ(now->reading.samples, 48000u);
  }
  EXPECT_EQ(describeReading(now->reading), "silent");
  s.exchange(1, false, nothing);
  EXPECT_FALSE(s.radio->transmitting());
}

TEST(transmitMonitorTest, theEndOfTheStreamEndsATransmission) {
  transmittingHost s;
  s.begin(7100000, 7100000);
  s.exchange(3, true, tone(0, 0.5));
  s.host.stop();
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return !r.streaming; }));
  EXPECT_EQ(s.radio->transmissions().size(), 1u);
  radioOptions options;
  options.watchdog_s = 1;
  transmittingHost alone(options);
  alone.begin(7100000, 7100000);
  alone.exchange(3, true, tone(0, 0.5));
  alone.radio->advance(2);
  EXPECT_EQ(alone.radio->transmissions().size(), 1u);
  transmittingHost running;
  running.begin(7100000, 7100000);
  running.exchange(3, true, tone(0, 0.5));
  running.radio->run();
  running.radio->stop();
  EXPECT_EQ(running.radio->transmissions().size(), 1u);
}

TEST(transmitMonitorTest, theInternalKeyersCarrierIsMeasured) {
  transmittingHost s;
  s.begin(7100000, 7100000);
  s.next = registerCommand(15, 1u << 24);
  s.exchange(1, false, nothing);
  s.exchange(100, false, [](size_t) { return 3 / 32767.0; });
  s.exchange(10, false, nothing);
  ASSERT_EQ(s.radio->transmissions().size(), 1u);
  const transmission t = s.radio->transmissions()[0];
  EXPECT_NEAR(t.reading.peak, 1, 1e-6);
  EXPECT_EQ(t.reading.samples, (100u + 2) * 126); // the last edge takes 240 samples: four frames more
  EXPECT_EQ(t.withoutMox, 0u);
}

TEST(transmitMonitorTest, theRecordingHoldsTheBandUprightAndExact) {
  for (const int zone : {0, 1}) {
    transmittingHost s;
    s.radio->recordTransmit(true);
    s.begin(7100000, 7100000);
    s.radio->clearRecords();
    const double turn = zone == 0 ? 1 : -1; // in an odd zone the wire is conjugated
    const auto wire = [=](size_t n) { return n == 5 ? std::complex<double>(1, -1) : tone(turn * 3000, 0.5)(n); };
    s.exchange(40, true, wire);
    const std::string path = temporaryFile();
    transmitMonitor::writeIqWav(path, s.radio->transmitted(), zone);
    const wavData wav = readWav(path);
    std::remove(path.c_str());
    EXPECT_EQ(wav.rate_Hz, 48000);
    ASSERT_EQ(wav.channels, 2);
    ASSERT_EQ(wav.frames(), 40u * 126);
    for (size_t n = 0; n < wav.frames(); ++n) {
      ASSERT_EQ(std::lround(wav.samples[2 * n] * 32768), std::lround(wire(n).real() * 32767)) << n;
      ASSERT_EQ(std::lround(wav.samples[2 * n + 1] * 32768), -turn * std::lround(wire(n).imag() * 32767)) << n;
    }
    // as a scene it is the transmission again
    const recordingSource back(7100000, 0, wav);
    samples z(4000);
    back.envelope({0.01, 1 / 48000.0, z.size()}, {-24000, 24000}, z.data());
    EXPECT_NEAR(dB(dftAt(z, 3000, 48000)), -6.02, 0.01);
    EXPECT_LT(dB(dftAt(z, -3000, 48000)), -60);
  }
}
