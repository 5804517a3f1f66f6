// AM, FM and the chirp mode through the library's boundary, over the stream of a simulated radio: what any number in a setter
// does to what is transmitted, and to what is told of the reception.
#include "sim/bandScene.h"
#include "tests/boundary/boardStream.h"
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
constexpr double wild[] = {notANumber, 0.0, -1.0, -infinity, infinity, 1e308, -1e308, 5e-324, 12000.0};
constexpr uint64_t moment = 32;       // datagrams of the stream
constexpr uint64_t settled = 128;     // what the filters hold is forgotten
constexpr double fullScale = 32766.0; // of a word

vtrx* added = nullptr;
std::vector<bool> wideEnough; // as told
void keepVtrx(vtrx* handle, int32_t, int32_t) { added = handle; }

// A keyed transceiver at 48 kHz; nobody speaks.
class voiceModesTest : public testing::Test {
 protected:
  voiceModesTest() {
    added = nullptr;
    HpsdrRadio_setipAddress(radio, board->address().c_str());
    HpsdrRadio_setclockFrequency(radio, 76'800'000);
    Radio_bindvtrxAdded(base, keepVtrx);
    Radio_start(base);
    EXPECT_TRUE(testHost::pollUntil([&] {
      board->poll();
      return added && board->report().streaming;
    }));
    vtrx_bindbandwidthSufficient(testHost::watched(added), [](bool enough) { wideEnough.push_back(enough); });
    vtrx_setdrive(added, 255);
    vtrx_start(added);
  }
  ~voiceModesTest() override {
    vtrx_setptt(added, false);
    EXPECT_TRUE(stream(*board, 2 * settled));
    Radio_stop(base);
    vtrx_release(added);
    modDemod_release(none);
    HpsdrRadio_release(radio);
  }
  void transmit(modDemod* mode, int32_t filter) {
    vtrx_setModulation(added, mode);
    vtrx_setRxFilter(added, -filter, filter);
    vtrx_setTxFilter(added, -filter, filter);
    vtrx_setptt(added, true);
    ASSERT_TRUE(go(mode, 2 * settled));
  }
  void useNone() {
    vtrx_setModulation(added, none);
    EXPECT_TRUE(go(none));
  }
  // All that was set has happened, and the stream has gone on.
  bool go(modDemod* mode, uint64_t datagrams = moment) {
    return testHost::settle(mode) && testHost::settle(added) && stream(*board, datagrams) && testHost::settle(added);
  }
  // The magnitudes of what goes out from now on, 1: full scale.
  std::vector<double> sent(uint64_t datagrams = moment) {
    board->recordTransmit(true);
    board->clearRecords();
    EXPECT_TRUE(stream(*board, datagrams));
    std::vector<double> magnitudes;
    for (const auto& each : board->transmitted())
      if (each.mox) magnitudes.push_back(std::hypot(each.sample.i, each.sample.q) / fullScale);
    EXPECT_FALSE(magnitudes.empty());
    return magnitudes;
  }
  void expectSteady(double magnitude) {
    const auto all = sent();
    const auto [least, most] = std::minmax_element(all.begin(), all.end());
    EXPECT_NEAR(*least, magnitude, 2e-3);
    EXPECT_NEAR(*most, magnitude, 2e-3);
  }

  const bool started = (testHost::start(), true); // before anything is created
  const std::unique_ptr<larch::sim::protocol1Radio> board =
      larch::sim::protocol1Radio::onFreeLoopback({}, std::make_shared<larch::sim::bandScene>());
  modDemod* none = modDemod_create();
  HpsdrRadio* radio = testHost::watched(HpsdrRadio_create());
  Radio* base = reinterpret_cast<Radio*>(radio);
};

} // namespace

TEST_F(voiceModesTest, anyNumberLeavesAmItsCarrier) {
  amModDemod* am = testHost::watched(amModDemod_create());
  auto* mode = reinterpret_cast<modDemod*>(am);
  transmit(mode, 4000);
  for (const double value : wild) {
    amModDemod_setcompression(am, value);
    modDemod_setrnnoise(mode, true);
    modDemod_setrnnoiseSquelch(mode, value);
    ASSERT_TRUE(go(mode)) << value;
    for (const double m : sent()) ASSERT_LE(m, 1.0001) << value;
    amModDemod_setcompression(am, 1.0);
    ASSERT_TRUE(go(mode, settled)) << value;
    expectSteady(0.5);
  }
  useNone();
  EXPECT_TRUE(testHost::releaseAndWait(am));
}

TEST_F(voiceModesTest, anyNumberLeavesFmItsEnvelopeAndTheDeviationItsRate) {
  fmModDemod* fm = testHost::watched(fmModDemod_create());
  auto* mode = reinterpret_cast<modDemod*>(fm);
  fmModDemod_setdeviation(fm, 5000.0);
  transmit(mode, 14000);
  EXPECT_TRUE(std::find(wideEnough.begin(), wideEnough.end(), false) == wideEnough.end() || wideEnough.back());
  for (const double value : wild) {
    wideEnough.clear();
    fmModDemod_setdeviation(fm, value);
    ASSERT_TRUE(go(mode)) << value;
    const bool narrow = 12000.0 > value; // what is no number asks for the wide rate
    EXPECT_EQ(wideEnough, narrow ? std::vector<bool>{} : std::vector<bool>{false}) << value;
    fmModDemod_setCTCSS(fm, value);
    fmModDemod_setcompression(fm, value);
    fmModDemod_setMaxDeviation(fm, value);
    ASSERT_TRUE(go(mode)) << value;
    for (const double m : sent()) ASSERT_LE(m, 1.0001) << value;
    fmModDemod_setdeviation(fm, 5000.0);
    fmModDemod_setCTCSS(fm, 0.0);
    fmModDemod_setcompression(fm, 1.0);
    ASSERT_TRUE(go(mode, settled)) << value;
    EXPECT_TRUE(narrow || wideEnough.back()) << value;
    expectSteady(0.99);
  }
  useNone();
  EXPECT_TRUE(testHost::releaseAndWait(fm));
}

// Also while modes are swapped under the key and the host has given their handles back.
TEST_F(voiceModesTest, chirpsGoOutWhateverWasThereBefore) {
  chirpyModDemod* chirps = testHost::watched(chirpyModDemod_create());
  auto* mode = reinterpret_cast<modDemod*>(chirps);
  for (int round = 0; round < 3; round++) {
    amModDemod* am = testHost::watched(amModDemod_create());
    transmit(reinterpret_cast<modDemod*>(am), 4000);
    fmModDemod* fm = testHost::watched(fmModDemod_create());
    transmit(reinterpret_cast<modDemod*>(fm), 14000); // wide: this radio is too slow to receive it
    ASSERT_TRUE(testHost::releaseAndWait(am));
    const int before = testHost::deletions();
    fmModDemod_release(fm); // the transceiver still has it
    ASSERT_TRUE(stream(*board, moment));
    EXPECT_EQ(testHost::deletions(), before) << "in use";
    transmit(mode, 3500);
    EXPECT_TRUE(testHost::pollUntil([before] { return testHost::deletions() > before; })) << "not any more";
  }
  modDemod_setrxFreq(mode, INT32_MIN);
  modDemod_settxFreq(mode, INT32_MAX);
  ASSERT_TRUE(go(mode));
  const auto all = sent(3 * 4096 / 126); // what jumps between two chirps is rounded by the filter
  EXPECT_GT(std::count_if(all.begin(), all.end(), [](double m) { return std::abs(m - 0.97) < 0.02; }), 0.8 * all.size());
  useNone();
  EXPECT_TRUE(testHost::releaseAndWait(chirps));
}
