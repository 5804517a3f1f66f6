// A running Protocol 2 receiver takes no sample memory and no lock once it is warm.
#include "sim/bandScene.h"
#include "sim/protocol2Radio.h"
#include "tests/boundary/steadyCounting.h"
#include <gtest/gtest.h>

namespace {

vtrx* added = nullptr;
int frames = 0;

void keepVtrx(vtrx* handle, int32_t, int32_t) { added = handle; }
void countFrame(floatArray* frame, double, double, int32_t) {
  frames++;
  floatArray_delete(frame);
}

// About a second, as fast as the library answers: in each 32 microphone packets it says the frequencies once.
bool streamSecond(larch::sim::protocol2Radio& board) {
  constexpr int rounds = 24;
  constexpr double round_s = 32.0 / 750;
  const auto heard = [&] { return board.report().received[static_cast<std::size_t>(larch::sim::p2Packet::highPriority)]; };
  for (int i = 0; i < rounds; i++) {
    const uint64_t before = heard();
    board.advance(round_s);
    if (!testHost::pollUntil([&] {
          board.poll();
          getRenderUpdates();
          return heard() > before;
        }))
      return false;
  }
  return true;
}

} // namespace

TEST(npSteadyPathTest, runningReceiverTakesNoSampleMemoryAndNoLock) {
  if (!LARCH_COUNTS) GTEST_SKIP() << "a sanitizer's allocator can't be counted";
  hostThread = true;
  testHost::start();
  const auto scene = std::make_shared<larch::sim::bandScene>();
  scene->addCarrier(14'096'600, -60);
  const auto board = larch::sim::protocol2Radio::onFreeLoopback({}, scene);
  HpsdrNpRadio* radio = testHost::watched(HpsdrNpRadio_create());
  auto* base = reinterpret_cast<Radio*>(radio);
  HpsdrNpRadio_setipAddress(radio, board->address().c_str());
  Radio_setSampleRate(base, 192'000);
  Radio_bindvtrxAdded(base, keepVtrx);
  Radio_start(base);
  ASSERT_TRUE(testHost::pollUntil([&] {
    board->poll();
    return added && board->report().streaming;
  }));
  ssbModDemod* mode = testHost::watched(ssbModDemod_create());
  vtrx_bindnewSpectrum(testHost::watched(added), countFrame);
  vtrx_setModulation(added, reinterpret_cast<modDemod*>(mode));
  vtrx_setRxFilter(added, 200, 2800);
  vtrx_setforegroundDisplay(added, true);
  vtrx_start(added);
  ASSERT_TRUE(testHost::settle(added));

  expectCleanWindows([&] { return streamSecond(*board); }, [] { frames = 0; });
  EXPECT_GT(frames, 0); // the receiver did run
  constexpr double chunks = 1.024 * 48000 / 512;
  printSmall("chunk", chunks);
  Radio_stop(base);
  vtrx_release(added);
  ssbModDemod_release(mode);
  HpsdrNpRadio_release(radio);
}
