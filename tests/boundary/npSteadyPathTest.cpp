// A running Protocol 2 receiver takes no sample memory and no lock once it is warm.
#include "sim/protocol2Radio.h"
#include "tests/boundary/steadyReceiver.h"

namespace {

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
  const auto board = larch::sim::protocol2Radio::onFreeLoopback({}, carrierScene());
  HpsdrNpRadio* radio = testHost::watched(HpsdrNpRadio_create());
  auto* base = reinterpret_cast<Radio*>(radio);
  HpsdrNpRadio_setipAddress(radio, board->address().c_str());
  Radio_setSampleRate(base, 192'000);
  constexpr double chunks = 1.024 * 48000 / 512;
  expectSteadyReceiver(
      base, *board, [&] { return streamSecond(*board); }, chunks, 0);
  HpsdrNpRadio_release(radio);
}
