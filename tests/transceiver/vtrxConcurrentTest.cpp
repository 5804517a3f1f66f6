// A transceiver at work on a pool with workers, while the host sets, binds and polls from its thread.
#include "modes/ssbModDemod.h"
#include "tests/support/workingStation.h"
#include "tests/transceiver/chainTesting.h"

namespace larch::test {
namespace {

constexpr int32_t centre = 7'100'000, rate = 192000;
constexpr int rounds = 300;
int framesSeen = 0, metersSeen = 0;

TEST(vtrxConcurrentTest, hostMaySetAndPollWhileTheSignalRuns) {
  workingStation station;
  const auto& t = station.transceiver;
  const auto& radio = station.radio;
  const std::shared_ptr<agc> rx = keptByCore(std::make_shared<agc>(station.others)),
                             tx = keptByCore(std::make_shared<agc>(station.others));
  t->newSpectrum = [](buff<float>* frame, double, double, int32_t) {
    framesSeen++;
    delete frame;
  };
  t->signalStrength.bind(t.get(), [](double) { metersSeen++; });
  std::shared_ptr<modDemod> modes[] = {keptByCore(std::make_shared<ssbModDemod>(station.others)),
                                       keptByCore(std::make_shared<modDemod>(station.others)), nullptr};
  modes[0]->rnnoise.set(true);
  set(t, [](vtrx& v) { v.start(); });
  set(t, [rx](vtrx& v) { v.rxagc.set(rx); });
  const auto stream = [&t](int i) {
    const cbuff chunk = mirroredTone(1000, rate, 2048, 0.1, static_cast<uint64_t>(i) * 2048);
    post(t, [chunk](vtrx& v) { v.processRxChunk(chunk, centre, rate, buff<double>(2048, 0.01), 38.4e6, 0); });
    post(t, [](vtrx& v) { v.modulateTask(); });
  };
  const auto host = [&](int i) {
    set(t, [m = modes[i % 40 == 20 ? 1 : i % 40 == 21 ? 2 : 0]](vtrx& v) { v.setModulation(m); });
    set(t, [i](vtrx& v) { v.vfo.set(centre + i); });
    set(t, [i](vtrx& v) { v.ptt.set(i % 60 > 40); });
    set(t, [i](vtrx& v) { v.setRxFilter(300, 2700 + i); });
    set(t, [i](vtrx& v) { v.specZoom.set(1 << i % 4); });
    set(t, [i](vtrx& v) { v.foregroundDisplay.set(i % 7 != 0); });
    set(rx, [i](agc& a) { a.Volume.set(0.01f * static_cast<float>(i)); });
    set(modes[0], [i](modDemod& m) { m.rnnoiseSquelch.set(i % 100); });
    t->signalStrength.bind(t.get(), [](double) { metersSeen++; });
  };
  ASSERT_NO_FATAL_FAILURE(station.run(rounds, stream, host));
  ASSERT_TRUE(waitFor([&] { return radio->samples == 126u * rounds; }));
  ASSERT_NO_FATAL_FAILURE(station.finish({t}));
  EXPECT_GT(framesSeen, 0);
  EXPECT_GT(metersSeen, 0);
  EXPECT_EQ(radio->requests, rounds) << "each tuning";
}

} // namespace
} // namespace larch::test
