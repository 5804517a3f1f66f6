// Verbs, sets and polls from the host's thread while the chain runs on the pool's workers.
#include "modes/cwModDemod.h"
#include "tests/support/workingStation.h"

namespace larch::test {
namespace {

constexpr int32_t centre = 7'030'000, rate = 48000;
constexpr int rounds = 300, groupsARound = 4;

std::string sentText;
int heardCharacters = 0, speedsSeen = 0, pttsSeen = 0;

TEST(cwConcurrentTest, verbsAndSetsComeWhileTheChainRuns) {
  workingStation station;
  const auto& t = station.transceiver;
  const auto& radio = station.radio;
  const auto cw = keptByCore(std::make_shared<cwModDemod>(station.others));
  cw->sentChars = [](const char* text) { sentText += text; };
  cw->newChars = [](const char*) { heardCharacters++; };
  cw->rxwpm.bind(cw.get(), [](double) { speedsSeen++; });
  t->ptt.bind(t.get(), [](bool) { pttsSeen++; });
  set(t, [cw](vtrx& v) {
    v.vfo.set(centre);
    v.setModulation(cw);
    v.start();
  });

  const std::string text(40, 'e');
  const auto stream = [&t](int i) {
    const bool mark = i % 7 < 3;
    post(t, [mark](vtrx& v) { v.processRxChunk(cbuff(512, mark ? 0.1 : 1e-6), centre, rate, {}, 0, 0); });
    for (int k = 0; k < groupsARound; k++) post(t, [](vtrx& v) { v.modulateTask(); });
  };
  const auto host = [&](int i) {
    set(cw, [&text](cwModDemod& m) { m.queueText(text, static_cast<uint32_t>(m.sentCount())); });
    if (i % 5 == 0) set(cw, [](cwModDemod& m) { m.keyDown(); });
    if (i % 5 == 1) set(cw, [](cwModDemod& m) { m.keyUp(); });
    set(cw, [i](cwModDemod& m) { m.wpm.set(i % 50 == 49 ? 0.0 : 500.0 + i); });
    set(cw, [i](cwModDemod& m) { m.freq.set(600 + i); });
    set(cw, [i](cwModDemod& m) { m.swHangTime.set(i % 3 - 1); });
    set(cw, [i](cwModDemod& m) { m.rxwpm.set(i); });
    set(cw, [i](cwModDemod& m) { m.sidetoneVolume.set(0.001 * i); });
    set(t, [i](vtrx& v) { v.ptt.set(i % 4 == 0); });
    set(radio, [i](workingRadio& r) { r.cwInternal.set(i % 8 == 0); });
    set(radio, [i](workingRadio& r) { r.RadioPtt.set(i % 6 == 0); });
    if (i % 100 == 60) set(t, [](vtrx& v) { v.setModulation(nullptr); });
    if (i % 100 == 61) set(t, [cw](vtrx& v) { v.setModulation(cw); });
  };
  ASSERT_NO_FATAL_FAILURE(station.run(rounds, stream, host));
  ASSERT_TRUE(waitFor([&] { return radio->samples == 126u * rounds * groupsARound; }));
  ASSERT_NO_FATAL_FAILURE(station.finish({t, cw}));
  EXPECT_EQ(sentText, std::string(static_cast<size_t>(cw->sentCount()), 'e'));
  EXPECT_GT(sentText.size(), 0u);
  EXPECT_GT(speedsSeen, 0);
  EXPECT_GT(pttsSeen, 0);
}

} // namespace
} // namespace larch::test
