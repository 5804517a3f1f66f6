#include "sim/answeringSource.h"
#include <sstream>
#include <gtest/gtest.h>
#include "sim/sceneReader.h"
#include "tests/sim/transmittingHost.h"

using namespace larch::sim;
using namespace larch::simtest;

namespace {
// a radio at 7.0390 MHz with stations from a scene text
struct talk : transmittingHost {
  explicit talk(const std::string& text, uint32_t transmitter) {
    std::istringstream in(text);
    readScene(in, "scene", ".", *scene);
    begin(7039000, transmitter);
  }
  void send(size_t datagrams, double above_Hz = 0) {
    exchange(datagrams, true, [=](size_t n) { return std::polar(0.5, -2 * M_PI * above_Hz * static_cast<double>(n) / 48000); });
    exchange(1, false, [](size_t) { return 0; });
  }
  // first loud sample from there on, in seconds; -1: none
  double loudFrom(size_t first) const {
    for (size_t n = first; n < heard.size(); ++n)
      if (std::abs(heard[n]) > 0.005) return static_cast<double>(n) / 48000;
    return -1;
  }
  double now_s() const { return static_cast<double>(heard.size()) / 48000; }
};
const char* oneDash = "answer 7.0390M -40 call=Q1ABC text=T wpm=12 wait=0.5"; // 0.3 s
} // namespace

TEST(answeringSourceTest, answersOnceAfterItsWait) {
  talk s(oneDash, 7039200);
  s.listen(400);
  EXPECT_EQ(s.loudFrom(0), -1);
  s.send(100);
  const double end_s = s.now_s();
  const size_t from = s.heard.size();
  s.listen(400);                                              // a second
  EXPECT_NEAR(s.loudFrom(from), end_s + 0.5 + 0.0025, 0.001); // the middle of its edge
  const auto at = static_cast<size_t>((end_s + 0.5 + 0.1) * 48000);
  EXPECT_NEAR(
      dB(dftAt({s.heard.begin() + static_cast<std::ptrdiff_t>(at), s.heard.begin() + static_cast<std::ptrdiff_t>(at + 4800)}, 0,
               48000)),
      -40, 0.1);
  const size_t after = static_cast<size_t>((end_s + 0.5 + 0.3 + 0.006) * 48000);
  s.listen(1500);
  EXPECT_EQ(s.loudFrom(after), -1);
  s.send(10); // and once more
  const size_t again = s.heard.size();
  s.listen(300);
  EXPECT_GT(s.loudFrom(again), 0);
}

TEST(answeringSourceTest, hearsWithin300HzOfTheDialOrOfTheCarrier) {
  const auto answers = [](uint32_t transmitter, double above_Hz) {
    talk s(oneDash, transmitter);
    s.send(100, above_Hz);
    s.listen(300);
    return s.loudFrom(0) > 0;
  };
  EXPECT_TRUE(answers(7039300, 0));
  EXPECT_TRUE(answers(7038700, 0));
  EXPECT_FALSE(answers(7039360, 0));
  EXPECT_FALSE(answers(7038640, 0));
  EXPECT_TRUE(answers(7037000, 2000)); // tuned 2 kHz below, the carrier is there
  EXPECT_FALSE(answers(7037000, -2000));
  EXPECT_TRUE(answers(7039000, 2000)); // a voice
}

TEST(answeringSourceTest, silenceIsNoCall) {
  talk s(oneDash, 7039000);
  s.exchange(100, true, [](size_t) { return 0; });
  s.exchange(1, false, [](size_t) { return 0; });
  s.listen(400);
  EXPECT_EQ(s.loudFrom(0), -1);
}

TEST(answeringSourceTest, isPutOffByAnotherCallAndDeafWhileItSpeaks) {
  talk s(oneDash, 7039000);
  s.send(20);
  s.listen(100); // a quarter of a second
  s.send(20);
  const double end_s = s.now_s();
  s.listen(300);
  EXPECT_NEAR(s.loudFrom(0), end_s + 0.5 + 0.0025, 0.001);
  s.send(20); // in the second after its words
  const size_t from = s.heard.size();
  s.listen(600);
  EXPECT_EQ(s.loudFrom(from), -1);
}

TEST(answeringSourceTest, callsUntilSomebodyAnswers) {
  // a dash of 0.3 s at the start of every 2.3 s; the answer a second after a call: 0.3 s, and 2 s of quiet behind it
  talk s("answer 7.0390M -40 call=Q1ABC text=T wpm=12 wait=1 cq=T cq_pause=2", 7039200);
  s.listen(1000);
  EXPECT_NEAR(s.loudFrom(0), 0.0025, 0.003);
  EXPECT_NEAR(s.loudFrom(24000), 2.3, 0.01) << "again after its pause";
  s.send(10);
  const double end_s = s.now_s();
  const size_t from = s.heard.size();
  s.listen(3000);
  const double answer_s = s.loudFrom(from + 480);
  EXPECT_NEAR(answer_s, end_s + 1, 0.01) << "no call meanwhile";
  EXPECT_GE(s.loudFrom(static_cast<size_t>((answer_s + 0.31) * 48000)), answer_s + 2.3) << "nor right behind the answer";
}

TEST(answeringSourceTest, speaksOnASideband) {
  talk s("answer 7.0390M -40 call=Q1ABC mode=lsb text=\"good evening\" wait=0.2 pause=1", 7039000);
  s.send(20);
  const size_t from = s.heard.size();
  s.listen(400);
  double below = 0, above = 0;
  const samples z(s.heard.begin() + static_cast<std::ptrdiff_t>(from), s.heard.end());
  for (double f = 300; f < 2700; f += 20) {
    above += std::norm(dftAt(z, -f, 48000)); // the wire is mirrored
    below += std::norm(dftAt(z, f, 48000));
  }
  EXPECT_GT(below, 1000 * above);
}

TEST(answeringSourceTest, sceneLineIsChecked) {
  const auto read = [](const std::string& text) {
    std::istringstream in(text);
    bandScene scene;
    readScene(in, "scene", ".", scene);
    return scene.current()->signals.at(0)->describe();
  };
  EXPECT_NE(read("answer 7M -40 call=Q1ABC").find("DE Q1ABC"), std::string::npos);
  EXPECT_THROW(read("answer 7M -40 text=T"), std::runtime_error);
  EXPECT_THROW(read("answer 7M -40 call=Q1ABC mode=fm"), std::runtime_error);
  EXPECT_THROW(read("answer 7M -40 call=Q1ABC mode=usb"), std::runtime_error); // nothing to say
  EXPECT_THROW(read("answer 7M -40 call=Q1ABC wait=-1"), std::runtime_error);
  EXPECT_THROW(read("answer 7M -40 call=Q1ABC cq=T cq_pause=-1"), std::runtime_error);
}

TEST(answeringSourceTest, theDemoAnswersOnItsFrequency) {
  int found = 0;
  const auto demo = makeScene("demo")->current();
  for (const auto& signal : demo->signals) found += signal->frequency_Hz() == 7039000 ? 1 : 0;
  EXPECT_EQ(found, 1);
}
