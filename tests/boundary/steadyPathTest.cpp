// A running receiver takes no sample memory and no lock once it is warm: malloc and pthread_mutex_lock of the library's own
// threads are counted.
#include "tests/boundary/steadyReceiver.h"

TEST(steadyPathTest, runningReceiverTakesNoSampleMemoryAndNoLock) {
  if (!LARCH_COUNTS) GTEST_SKIP() << "a sanitizer's allocator can't be counted";
  hostThread = true;
  testHost::start();
  const auto board = larch::sim::protocol1Radio::onFreeLoopback({}, carrierScene());
  HpsdrRadio* radio = testHost::watched(HpsdrRadio_create());
  HpsdrRadio_setipAddress(radio, board->address().c_str());
  HpsdrRadio_setclockFrequency(radio, 76'800'000);
  HpsdrRadio_setHLite2Gain(radio, true);
  constexpr double chunks = static_cast<double>(windowDatagrams) * 126 / 512;
  constexpr int mostOfTheFrames = static_cast<int>(chunks / 4 * 0.8); // a frame is four chunks
  expectSteadyReceiver(
      reinterpret_cast<Radio*>(radio), *board, [&] { return stream(*board, windowDatagrams); }, chunks, mostOfTheFrames);
  HpsdrRadio_release(radio);
}
