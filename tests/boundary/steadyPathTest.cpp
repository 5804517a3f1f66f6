// A running receiver takes no sample memory and no lock once it is warm: malloc and pthread_mutex_lock of the library's own
// threads are counted.
#include "sim/bandScene.h"
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

  expectCleanWindows(*board, [] { frames = 0; });
  constexpr double chunks = static_cast<double>(windowDatagrams) * 126 / 512;
  EXPECT_GT(frames, static_cast<int>(chunks / 4 * 0.8)); // the receiver did run: a frame is four chunks
  printSmall("chunk", chunks);
  Radio_stop(base);
  vtrx_release(added);
  ssbModDemod_release(mode);
  HpsdrRadio_release(radio);
}
