// Text, sets and polls from the host's thread while RTTY and Hellschreiber run on the pool's workers.
#include "modes/RTTYModDemod.h"
#include "modes/hellschreiberModDemod.h"
#include "tests/modes/rttyTesting.h"
#include "tests/support/workingStation.h"

namespace larch::test {
namespace {

constexpr int32_t centre = 14'080'000, rate = 48000;
constexpr int rounds = 400, groupsARound = 16;

std::string sentOfRtty, sentOfHell, heardText;
int tracesSeen, pttsSeen;

TEST(rttyConcurrentTest, textAndSetsComeWhileTheChainRuns) {
  sentOfRtty.clear();
  sentOfHell.clear();
  pttsSeen = 0;
  workingStation station;
  const auto& t = station.transceiver;
  const auto& radio = station.radio;
  const auto rtty = keptByCore(std::make_shared<RTTYModDemod>(station.others));
  const auto hell = keptByCore(std::make_shared<hellschreiberModDemod>(station.others));
  rtty->sentChars = [](const char* text) { sentOfRtty += text; };
  rtty->newChars = [](const char* text) { heardText += text; };
  rtty->newDebug = [](buff<float>* trace) {
    tracesSeen++;
    delete trace;
  };
  hell->sentChars = [](const char* text) { sentOfHell += text; };
  t->ptt.bind(t.get(), [](bool) { pttsSeen++; });
  set(t, [rtty](vtrx& v) {
    v.vfo.set(centre);
    v.setModulation(rtty);
    v.start();
  });

  rttySender sender(2000, 0.01);
  sender.frames(codesOf("RYRYRYRYRYRYRYRYRYRYRYRYRYRYRY"));
  const auto stream = [&](int i) {
    cbuff block(512);
    for (uint64_t n = 0; n < 512; n++) block.data[n] = sender.sent[(static_cast<size_t>(i) * 512 + n) % sender.sent.size()];
    post(t, [block](vtrx& v) { v.processRxChunk(block, centre, rate, {}, 0, 0); });
    for (int k = 0; k < groupsARound; k++) post(t, [](vtrx& v) { v.modulateTask(); });
  };
  const auto host = [&](int i) {
    const bool end = i % 30 == 29;
    set(rtty, [end](RTTYModDemod& m) { m.queueText(end ? "~" : "e1e2", static_cast<uint32_t>(m.text().sentCount())); });
    set(hell, [end](hellschreiberModDemod& m) { m.queueText(end ? "~" : "li", static_cast<uint32_t>(m.text().sentCount())); });
    set(rtty, [i](RTTYModDemod& m) { m.rxFreq.set(i % 10 ? 2000 : 1000 + i); });
    set(rtty, [i](RTTYModDemod& m) { m.dbg1.set(i); });
    set(hell, [i](hellschreiberModDemod& m) { m.frequencyStep.set(i % 40 == 39 ? 0 : 100.0 + i); });
    set(t, [i](vtrx& v) { v.ptt.set(i % 20 < 15); });
    if (i % 100 == 40) set(t, [hell](vtrx& v) { v.setModulation(hell); });
    if (i % 100 == 70) set(t, [](vtrx& v) { v.setModulation(nullptr); });
    if (i % 100 == 75) set(t, [rtty](vtrx& v) { v.setModulation(rtty); });
  };
  ASSERT_NO_FATAL_FAILURE(station.run(rounds, stream, host));
  ASSERT_TRUE(waitFor([&] { return radio->samples == 126u * rounds * groupsARound; }));
  // an end that comes for certain while ptt is on: at the latest behind two frames
  set(t, [rtty](vtrx& v) {
    v.setModulation(rtty);
    v.ptt.set(true);
  });
  set(rtty, [](RTTYModDemod& m) { m.queueText("~", static_cast<uint32_t>(m.text().sentCount())); });
  ASSERT_TRUE(waitFor([&] {
    post(t, [](vtrx& v) { v.modulateTask(); });
    station.poll();
    return pttsSeen > 0 && !t->ptt.get();
  }));
  ASSERT_NO_FATAL_FAILURE(station.finish({t, rtty, hell}));
  EXPECT_EQ(sentOfRtty.size(), static_cast<size_t>(rtty->text().sentCount()));
  EXPECT_EQ(sentOfRtty.find_first_not_of("e12~"), std::string::npos);
  EXPECT_GT(sentOfRtty.size(), 20u);
  EXPECT_EQ(sentOfHell.size(), static_cast<size_t>(hell->text().sentCount()));
  EXPECT_EQ(sentOfHell.find_first_not_of("li~"), std::string::npos);
  EXPECT_GT(sentOfHell.size(), 20u);
  EXPECT_GT(pttsSeen, 0);
  EXPECT_GT(heardText.size() + static_cast<size_t>(tracesSeen), 0u);
}

} // namespace
} // namespace larch::test
