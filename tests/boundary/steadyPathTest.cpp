// A running receiver takes no sample memory and no lock once it is warm: malloc and pthread_mutex_lock of the library's own
// threads are counted.
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/boundary/steadyCounting.h"
#include "tests/boundary/testHost.h"
#include <gtest/gtest.h>

namespace {

vtrx* added = nullptr;
int frames = 0;

void keepVtrx(vtrx* handle, int32_t, int32_t) { added = handle; }
void countFrame(floatArray* frame, double, double, int32_t) {
  frames++;
  floatArray_delete(frame);
}

// Radio time passes as fast as the library answers: at 48 kHz each datagram pays for one. A few answers may be on their way.
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

TEST(steadyPathTest, runningReceiverTakesNoSampleMemoryAndNoLock) {
  if (!LARCH_COUNTS) GTEST_SKIP() << "a sanitizer's allocator can't be counted";
  hostThread = true;
  testHost::start();
  const auto scene = std::make_shared<larch::sim::bandScene>();
  scene->addCarrier(14'096'600, -60);
  const auto board = larch::sim::protocol1Radio::onFreeLoopback({}, scene);
  HpsdrRadio* radio = testHost::watched(HpsdrRadio_create());
  auto* base = reinterpret_cast<Radio*>(radio);
  HpsdrRadio_setipAddress(radio, board->address().c_str());
  HpsdrRadio_setclockFrequency(radio, 76'800'000);
  HpsdrRadio_setHLite2Gain(radio, true);
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

  // A worker's first post to a queue takes a ring and its first transform a table, and which worker does what is chance: the
  // receiver is warm when a window shows nothing. What each chunk takes shows in every window.
  constexpr uint64_t measured = 48000 / 126 / 16 * 16; // datagrams, about a second
  constexpr int windows = 20;
  int window = 0;
  ASSERT_TRUE(stream(*board, measured));
  do {
    frames = 0;
    startCounting();
    ASSERT_TRUE(stream(*board, measured));
    counting = false;
  } while (large + locks > 0 && ++window < windows);

  const double chunks = static_cast<double>(measured) * 126 / 512;
  EXPECT_GT(frames, static_cast<int>(chunks / 4 * 0.8)); // the receiver did run: a frame is four chunks
  EXPECT_EQ(large.load(), 0u) << "the largest had " << largest << " bytes";
  EXPECT_EQ(locks.load(), 0u);
  std::printf("warm after %d windows; ", window);
  printSmall("chunk", chunks);
  Radio_stop(base);
  vtrx_release(added);
  ssbModDemod_release(mode);
  HpsdrRadio_release(radio);
}
