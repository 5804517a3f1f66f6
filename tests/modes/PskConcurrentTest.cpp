// Sets, text and polls from the host's thread while the PSK mode runs on the pool's workers.
#include "modes/PskModDemod.h"
#include "tests/support/workingStation.h"
#include "tests/transceiver/chainTesting.h"

namespace larch::test {
namespace {

constexpr int32_t centre = 14'070'000, rate = 48000;
constexpr int rounds = 200;

int frequenciesSeen;

} // namespace

TEST(PskConcurrentTest, setsAndTextComeWhileTheChainRuns) {
  workingStation station;
  const auto& t = station.transceiver;
  const auto psk = keptByCore(std::make_shared<PskModDemod>(station.others));
  const auto detector = psk->dets.items[62];
  psk->newChars = [](const char*) {};
  psk->sentChars = [](const char*) {};
  psk->rxFreq.bind(psk.get(), [](int32_t) { frequenciesSeen++; });
  psk->dets.bind(psk.get(), [](int32_t, int32_t, handle* row) { delete row; });
  set(t, [psk](vtrx& v) {
    v.vfo.set(centre);
    v.setModulation(psk);
    v.start();
  });
  const auto stream = [&t](int i) {
    post(t, [i](vtrx& v) { v.processRxChunk(mirroredTone(1500 + i % 5, rate, 512, 0.1), centre, rate, {}, 0, 0); });
    for (int k = 0; k < 4; k++) post(t, [](vtrx& v) { v.modulateTask(); });
  };
  const auto host = [&](int i) {
    set(psk, [](PskModDemod& m) { m.queueText("text", static_cast<uint32_t>(m.text().sentCount())); });
    if (i % 3 == 0) set(psk, [i](PskModDemod& m) { m.rxFreq.set(1000 + i); });
    set(psk, [i](PskModDemod& m) { m.mode.set(pskModes[i % 6].value); });
    if (i % 4 == 1) set(psk, [i](PskModDemod& m) { m.primaryDetector.set(i % 70 - 2); });
    set(detector, [i](PskDetector& d) { d.activity.set(i); });
    set(detector, [i](PskDetector& d) { d.freq.set(i); });
    if (i % 50 == 20) set(psk, [](PskModDemod& m) { m.dets.set(0, 5, nullptr); });
    if (i % 50 == 40) set(psk, [](PskModDemod& m) { m.dets.reset(); });
    set(t, [i](vtrx& v) { v.ptt.set(i % 20 < 8); });
    if (i % 60 == 50) set(t, [](vtrx& v) { v.setModulation(nullptr); });
    if (i % 60 == 51) set(t, [psk](vtrx& v) { v.setModulation(psk); });
  };
  ASSERT_NO_FATAL_FAILURE(station.run(rounds, stream, host));
  ASSERT_NO_FATAL_FAILURE(station.finish({t, psk}));
  EXPECT_GT(frequenciesSeen, 0);
}

} // namespace larch::test
