// Captured slots and sent messages as the decoders read them that everybody uses, from the air to the file and back.
#include "sim/slotSource.h"
#include "sim/transmitEcho.h"
#include "tests/modes/slotStation.h"
#include "tests/support/slotDecoders.h"
#include "tests/support/testSoundCard.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr const char* message = "K1ABC W9XYZ EN37";
constexpr double bandNoise = -150;   // dBFS in 1 Hz
constexpr double stationLevel = -40; // dBFS: the simulators' noise comes to 20 dB over that of the band

class slotDecodersTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string missing = missingDecoders();
    if (missing.empty()) return;
    if (std::getenv("LARCH_DECODERS_NEEDED"))
      FAIL() << missing;
    else
      GTEST_SKIP() << missing;
  }
  // The name without the tag, which must be this one.
  static std::string withoutTag(const std::string& told, const std::string& tag) {
    EXPECT_TRUE(told.ends_with(tag)) << told;
    return told.substr(0, told.size() - std::min(told.size(), tag.size()));
  }
  void play(slotStation& station, const std::string& file, double period_s) const {
    station.scene->setNoise(bandNoise);
    station.scene->add(
        std::make_shared<sim::slotSource>(slotStation::dial, stationLevel, sim::readSlotFile(file, period_s), period_s));
  }
  static void expectSameLevel(const std::string& ours, const std::string& original, const std::string& said) {
    const auto heard = decoderFolder::snrOf(ours, said), made = decoderFolder::snrOf(original, said);
    ASSERT_TRUE(made) << original;
    ASSERT_TRUE(heard) << ours;
    EXPECT_LE(std::abs(*heard - *made), 1) << ours << original;
  }

  bool silent = useNoSoundCard();
  decoderFolder folder;
};

TEST_F(slotDecodersTest, aWeakFt8StationIsReadFromTheCapture) {
  const std::string original = folder.makeFt8(message, -17, "original.wav");
  slotStation station(14.5);
  const auto mode = station.add(folder.path(""), 100, 5000);
  mode->samplesPerBlock.set(180000);
  mode->endPadding.set(7200);
  play(station, original, 15);
  station.start();
  const std::string file = withoutTag(station.nextFile(), "8");
  EXPECT_EQ(file, folder.path("260621_000015.wav"));
  expectSameLevel(folder.run("jt9 -8 " + file), folder.run("jt9 -8 original.wav"), message);
}

TEST_F(slotDecodersTest, aWeakWsprStationIsReadFromBothKindsOfFile) {
  folder.run("wsprsim -s -24 -f 20 -o 260621_0000.c2 'K1ABC FN42 33' || true"); // its status tells nothing
  folder.run("mv 260621_0000.c2 original.c2 && mkdir wav c2");
  slotStation station(119.5);
  const auto wav = station.add(folder.path("wav/"), 100, 5000), c2 = station.add(folder.path("c2/"), 1300, 1700);
  wav->samplesPerBlock.set(114 * 12000);
  c2->samplesPerBlock.set(2 * 45000);
  c2->endPadding.set(2 * 6 * 375);
  c2->Decimation.set(128);
  c2->SaveMode.set(1);
  for (const auto& mode : {wav, c2}) mode->period.set(120000);
  play(station, folder.path("original.c2"), 120);
  station.start();
  station.nextFile();
  station.nextFile();
  // what both captures hold: 114 s of the 120, then silence, for which the decoder gives the station 0.2 dB more
  folder.run("head -c $((26 + 8 * 375 * 114)) original.c2 >cut_0000.c2 && truncate -s $((26 + 8 * 375 * 120)) cut_0000.c2");
  const std::string original = folder.run("wsprd cut_0000.c2");
  expectSameLevel(folder.run("wsprd wav/260621_0002.wav"), original, "K1ABC FN42 33");
  expectSameLevel(folder.run("wsprd c2/260621_0002.c2"), original, "K1ABC FN42 33");
}

struct slotKind {
  const char *coder, *decoder;
  double period_s;
  int32_t samplesPerSymbol;
  std::size_t tones; // with a ramp at either end in FT4
};

class slotMessageTest : public slotDecodersTest, public testing::WithParamInterface<slotKind> {};

TEST_P(slotMessageTest, aSentMessageIsReadWhenItComesBack) {
  const slotKind kind = GetParam();
  const auto tones = decoderFolder::tonesOf(folder.run(std::string(kind.coder) + " 'CQ K1ABC FN42'"));
  ASSERT_EQ(tones.size(), kind.tones);
  slotStation station(kind.period_s - 0.5);
  const auto mode = station.add(folder.path(""), 100, 5000);
  mode->period.set(static_cast<int32_t>(kind.period_s * 1000));
  mode->samplesPerBlock.set(static_cast<int32_t>(kind.period_s * 12000));
  mode->endPadding.set(static_cast<int32_t>(kind.period_s * 12000 / 25));
  mode->samplesPerSymbol.set(kind.samplesPerSymbol);
  mode->toneSpacing.set(48000.0 / kind.samplesPerSymbol);
  station.scene->setNoise(bandNoise);
  station.board->setTransmitEcho(std::make_shared<sim::transmitEcho>(station.scene, kind.period_s, -120)); // -4 dB of 2500 Hz
  station.start();
  buff<float> array(tones.size());
  std::copy(tones.begin(), tones.end(), array.data);
  mode->queueMsg(array, 3);
  withoutTag(station.nextFile(), "3");
  const std::string heard = withoutTag(station.nextFile(), "8");
  const std::string printed = folder.run(std::string(kind.decoder) + heard);
  EXPECT_TRUE(decoderFolder::snrOf(printed, "CQ K1ABC FN42")) << printed;
  const auto sent = station.board->transmissions();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].last.frequency_Hz, slotStation::dial);
}

INSTANTIATE_TEST_SUITE_P(modes, slotMessageTest,
                         testing::Values(slotKind{"ft8code", "jt9 -8 ", 15, 7680, 79},
                                         slotKind{"ft4code", "jt9 -5 ", 7.5, 2304, 105}),
                         [](const auto& kind) { return std::string(kind.param.coder); });

} // namespace
} // namespace larch::test
