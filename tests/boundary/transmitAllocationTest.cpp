// A running transmitter takes no sample memory and no lock once it is warm.
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/boundary/steadyCounting.h"
#include "tests/boundary/testHost.h"
#include <gtest/gtest.h>

namespace {

vtrx* added = nullptr;
void keepVtrx(vtrx* handle, int32_t, int32_t) { added = handle; }

// At 48 kHz each datagram pays for one that is sent. A few may be on their way.
bool stream(larch::sim::protocol1Radio& board, uint64_t datagrams) {
  constexpr uint64_t batch = 16, onTheirWay = 24;
  const uint64_t answered = board.report().dataReceived;
  for (uint64_t sent = batch; sent <= datagrams; sent += batch) {
    board.emit(batch);
    if (!testHost::pollUntil([&] {
          board.poll();
          getRenderUpdates();
          return board.report().dataReceived + onTheirWay >= answered + sent;
        }))
      return false;
  }
  return true;
}

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

    // which worker meets a queue or a transform first is chance: warm is the window that shows nothing
    constexpr uint64_t measured = 48000 / 126 / 16 * 16; // datagrams, about a second
    constexpr int windows = 20;
    int window = 0;
    ASSERT_TRUE(stream(*board, measured));
    do {
      board->clearRecords();
      startCounting();
      ASSERT_TRUE(stream(*board, measured));
      counting = false;
    } while (large + locks > 0 && ++window < windows);

    const auto sent = board->report().transmit;
    EXPECT_GT(sent.moxFrames, 2 * measured * 9 / 10) << "it did transmit";
    EXPECT_NEAR(sent.peak, mode == reinterpret_cast<modDemod*>(speech) ? 0 : 1, 1e-3) << "nobody speaks";
    EXPECT_EQ(large.load(), 0u) << "the largest had " << largest << " bytes";
    EXPECT_EQ(locks.load(), 0u);
    std::printf("warm after %d windows; ", window);
    printSmall("group of 126 samples, reception included", static_cast<double>(measured));
    vtrx_setptt(added, false);
    ASSERT_TRUE(stream(*board, 64));
  }
  Radio_stop(base);
  vtrx_release(added);
  ssbModDemod_release(speech);
  sigGenModDemod_release(generator);
  HpsdrRadio_release(radio);
}
