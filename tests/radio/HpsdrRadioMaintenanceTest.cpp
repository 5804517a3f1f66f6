#include "tests/radio/hpsdrBench.h"

using namespace larch;
using namespace larch::test;

namespace {

// The queued commands, as they leave: C0 to C4.
std::vector<std::array<int, 5>> commands(hpsdrBench& b) {
  std::vector<std::array<int, 5>> all;
  for (int i = 0; i < 200; i++)
    for (const auto& f : b.sendOne().frame)
      if (f.index() == 0x7d) all.push_back({f.c0, f.c[0], f.c[1], f.c[2], f.c[3]});
  return all;
}
using list = std::vector<std::array<int, 5>>;

} // namespace

TEST(HpsdrRadioMaintenanceTest, theBiasIsInvertedForOldFirmware) {
  for (const auto& [firmware, device, value] : {std::array{59, 0xa8, 55}, std::array{60, 0xac, 200}}) {
    hpsdrBench b;
    b.radio->biasEnabled.set(true);
    b.radio->FwVersion.set(firmware);
    b.radio->paBias0.set(200);
    b.radio->paBias1.set(200);
    b.radio->paExtBias0.set(200);
    EXPECT_EQ(commands(b), (list{{0xfa, 6, device, 0, value}, {0xfa, 6, device, 0x10, value}, {0xfa, 6, 0xae, 0, 200}}));
    b.radio->writeBias();
    b.radio->writeExtBias();
    EXPECT_EQ(commands(b), (list{{0xfa, 6, device, 0x20, value}, {0xfa, 6, device, 0x30, value}, {0xfa, 6, 0xae, 0x20, 200}}));
  }
}

TEST(HpsdrRadioMaintenanceTest, withoutTheSwitchTheBiasIsNotSent) {
  hpsdrBench b;
  b.radio->paBias0.set(1);
  b.radio->paBias1.set(1);
  b.radio->paExtBias0.set(1);
  b.radio->writeBias();
  b.radio->writeExtBias();
  EXPECT_TRUE(commands(b).empty());
}

TEST(HpsdrRadioMaintenanceTest, addressesGoOutByteByByte) {
  hpsdrBench b;
  b.radio->FwVersion.set(72);
  b.radio->writeIP(static_cast<int32_t>(0xc0a80114)); // 192.168.1.20
  EXPECT_EQ(commands(b),
            (list{{0xfa, 6, 0xac, 0x80, 192}, {0xfa, 6, 0xac, 0x90, 168}, {0xfa, 6, 0xac, 0xa0, 1}, {0xfa, 6, 0xac, 0xb0, 20}}));
  b.radio->writeMac(0x1234);
  b.radio->writeStatus(0x156);
  EXPECT_EQ(commands(b), (list{{0xfa, 6, 0xac, 0xc0, 0x12}, {0xfa, 6, 0xac, 0xd0, 0x34}, {0xfa, 6, 0xac, 0x60, 0x56}}));
}

TEST(HpsdrRadioMaintenanceTest, storesKeepFortyFramesApart) {
  hpsdrBench b;
  b.radio->writeIP(1);
  std::vector<int> places;
  for (int i = 0; i < 100; i++) {
    const auto d = b.sendOne();
    for (int f = 0; f < 2; f++)
      if (d.frame[f].index() == 0x7d) places.push_back(2 * i + f);
  }
  EXPECT_EQ(places, (std::vector<int>{0, 41, 82, 123}));
}

TEST(HpsdrRadioMaintenanceTest, moxIsSetOnThemToo) {
  hpsdrBench b;
  b.radio->ptt.write(true);
  b.radio->writeStatus(1);
  EXPECT_EQ(commands(b), (list{{0xfb, 6, 0xa8, 0x60, 1}}));
}
