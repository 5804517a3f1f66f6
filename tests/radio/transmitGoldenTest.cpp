// What is written of each sample and each drive, against numbers made by a script of its own.
#include "tests/radio/transmitGolden.h"
#include "tests/radio/hpsdrBench.h"

namespace larch::test {
namespace {

TEST(transmitGoldenTest, allEntriesOfBothDriveTables) {
  for (bool coarse : {false, true}) {
    const driveTable table = makeDriveTable(coarse);
    for (size_t d = 0; d < 256; d++) {
      const goldenDrive& expected = coarse ? goldenCoarseDrive[d] : goldenFineDrive[d];
      EXPECT_EQ(table[d].value, expected.value) << coarse << " " << d;
      EXPECT_NEAR(table[d].multiplier, expected.multiplier, 4e-16) << coarse << " " << d;
    }
  }
}

int wordAt(const uint8_t* at) { return static_cast<int16_t>(at[0] << 8 | at[1]); }

TEST(transmitGoldenTest, wordsOfEachSample) {
  for (const goldenWord& g : goldenWords) {
    SCOPED_TRACE(testing::Message() << g.re << " " << g.im << " drive " << g.drive);
    const std::complex<double> sample(g.re, g.im);
    uint32_t ramp = 0;
    uint8_t bytes[8];
    const auto write = [&](bool keyLine, bool mirrored) {
      const double multiplier = stepOf(makeDriveTable(g.coarse), g.drive).multiplier;
      protocol1::writeTransmitSamples(bytes, &sample, 1, {keyLine, multiplier, mirrored, false}, ramp);
      EXPECT_EQ(wordAt(bytes), 0);
      EXPECT_EQ(wordAt(bytes + 2), 0);
    };
    write(false, false);
    EXPECT_EQ(wordAt(bytes + 4), g.evenI);
    EXPECT_EQ(wordAt(bytes + 6), g.evenQ);
    write(false, true);
    EXPECT_EQ(wordAt(bytes + 4), g.oddI);
    EXPECT_EQ(wordAt(bytes + 6), g.oddQ);
    write(true, false);
    EXPECT_EQ(wordAt(bytes + 4), g.key);
    EXPECT_EQ(wordAt(bytes + 6), 0);
  }
}

// The same by whole datagrams of the radio, in both zones and with the key line.
TEST(transmitGoldenTest, wordsOnTheWire) {
  for (bool coarse : {false, true}) {
    hpsdrBench b;
    b.radio->HLite2Gain.set(coarse);
    b.radio->initialise();
    const auto v = b.transmitter();
    for (int32_t vfo : {14100000, 50100000}) {
      v->vfo.set(vfo);
      b.round(); // register 1 stores the frequency
      const bool odd = vfo > 73728000 / 2;
      for (const goldenWord& g : goldenWords) {
        if (g.coarse != coarse) continue;
        v->drive.set(g.drive);
        b.radio->cwInternal.set(false);
        const auto s = b.sendOne(cbuff(126, {g.re, g.im})).frame[1].samples[62];
        EXPECT_EQ(s, (std::array<int, 4>{0, 0, odd ? g.oddI : g.evenI, odd ? g.oddQ : g.evenQ})) << g.re << " " << g.im;
        b.radio->cwInternal.set(true);
        const auto k = b.sendOne(cbuff(126, {g.re, g.im})).frame[0].samples[0];
        EXPECT_EQ(k, (std::array<int, 4>{0, 0, g.key, 0})) << g.re;
      }
    }
  }
}

} // namespace
} // namespace larch::test
