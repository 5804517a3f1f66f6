// A running transmitter takes no sample memory and no lock once it is warm.
#include "sim/bandScene.h"
#include "tests/boundary/steadyCounting.h"
#include <gtest/gtest.h>

namespace {

vtrx* added = nullptr;
void keepVtrx(vtrx* handle, int32_t, int32_t) { added = handle; }

} // namespace

TEST(transmitAllocationTest, runningTransmitterTakesNoSampleMemoryAndNoLock) {
  if (!LARCH_COUNTS) GTEST_SKIP() << "a sanitizer's allocator can't be counted";
  hostThread = true;
  testHost::start();
  const auto board = larch::sim::protocol1Radio::onFreeLoopback({}, std::make_shared<larch::sim::bandScene>());
  HpsdrRadio* radio = testHost::watched(HpsdrRadio_create());
  auto* base = reinterpret_cast<Radio*>(radio);
  HpsdrRadio_setipAddress(radio, board->address().c_str());
  HpsdrRadio_setclockFrequency(radio, 76'800'000);
  Radio_bindvtrxAdded(base, keepVtrx);
  Radio_start(base);
  ASSERT_TRUE(testHost::pollUntil([&] {
    board->poll();
    return added && board->report().streaming;
  }));
  vtrx_setdrive(testHost::watched(added), 255);
  vtrx_start(added);
  ssbModDemod* speech = testHost::watched(ssbModDemod_create());
  sigGenModDemod* generator = testHost::watched(sigGenModDemod_create());
  for (modDemod* mode : {reinterpret_cast<modDemod*>(speech), reinterpret_cast<modDemod*>(generator)}) {
    vtrx_setModulation(added, mode);
    vtrx_setTxFilter(added, -2900, 2900);
    vtrx_setptt(added, true);
    ASSERT_TRUE(testHost::settle(added));

    expectCleanWindows(*board, [&] { board->clearRecords(); });
    const auto sent = board->report().transmit;
    EXPECT_GT(sent.moxFrames, 2 * windowDatagrams * 9 / 10) << "it did transmit";
    EXPECT_NEAR(sent.peak, mode == reinterpret_cast<modDemod*>(speech) ? 0 : 1, 1e-3) << "nobody speaks";
    printSmall("group of 126 samples, reception included", static_cast<double>(windowDatagrams));
    vtrx_setptt(added, false);
    ASSERT_TRUE(stream(*board, 64));
  }
  Radio_stop(base);
  vtrx_release(added);
  ssbModDemod_release(speech);
  sigGenModDemod_release(generator);
  HpsdrRadio_release(radio);
}
