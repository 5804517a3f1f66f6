#include <cstdio>
#include <fstream>
#include <sstream>
#include <unistd.h>
#include <gtest/gtest.h>
#include "sim/sceneReader.h"
#include "sim/wavFile.h"

using namespace larch::sim;

namespace {
std::shared_ptr<const bandScene::content> read(const std::string& text, const std::string& folder = ".") {
  bandScene scene;
  std::istringstream in(text);
  readScene(in, "scene", folder, scene);
  return scene.current();
}

std::string refusal(const std::string& text) {
  try {
    read(text);
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "";
}
} // namespace

TEST(sceneReaderTest, readsSignalsAndNoise) {
  const auto c = read("# a scene\n\nnoise -145.5\ncarrier 7.1M -60 # known\n"
                      "cw 7010k -70.5 wpm=25 text=\"CQ DE Q1ABC # not a comment\" start=2 pause=1 ramp=4\n"
                      "usb 7100000 -50 text=\"one two\" voice=en speed=180\n");
  EXPECT_EQ(c->noise_dBFS, -145.5);
  ASSERT_EQ(c->signals.size(), 3u);
  EXPECT_EQ(c->signals[0]->frequency_Hz(), 7100000);
  EXPECT_EQ(c->signals[0]->level_dBFS(), -60);
  EXPECT_EQ(c->signals[1]->frequency_Hz(), 7010000);
  EXPECT_EQ(c->signals[1]->describe(), "cw 7010000 Hz -70.5 dBFS 25 wpm \"CQ DE Q1ABC # not a comment\"");
  EXPECT_EQ(c->signals[2]->describe(), "usb 7100000 Hz -50.0 dBFS one two");
}

TEST(sceneReaderTest, readsFilesBesideTheScene) {
  const std::string name = "larchsim-scene-" + std::to_string(getpid()) + ".wav", path = testing::TempDir() + name;
  writeWav(path, 48000, 2, std::vector<float>(200, 0.5F));
  const auto c = read("iq 7.1M -10 file=" + name + " mirrored=yes\nlsb 7.1M -40 file=" + path + "\n", testing::TempDir());
  std::remove(path.c_str());
  ASSERT_EQ(c->signals.size(), 2u);
  EXPECT_EQ(c->signals[0]->occupied().high_Hz, 24000);
  EXPECT_LT(c->signals[1]->occupied().high_Hz, 0);
}

TEST(sceneReaderTest, saysWhereTheMistakeIs) {
  EXPECT_EQ(refusal("noise -150\ncarier 7.1M -60\n"), "scene:2: not understood: carier");
  EXPECT_EQ(refusal("carrier 7.1M\n"), "scene:1: a signal needs a frequency and a level");
  EXPECT_EQ(refusal("carrier 7.1x -60\n"), "scene:1: no number: 7.1x");
  EXPECT_EQ(refusal("carrier -7M -60\n"), "scene:1: no frequency: -7M");
  EXPECT_EQ(refusal("carrier 7M -60 wpm=3\n"), "scene:1: not understood: wpm");
  EXPECT_EQ(refusal("carrier 7M -60 loud\n"), "scene:1: not understood: loud");
  EXPECT_EQ(refusal("carrier 7M nan\n"), "scene:1: no number: nan");
  EXPECT_EQ(refusal("cw 7M -60\n"), "scene:1: cw needs text= and a positive wpm=");
  EXPECT_EQ(refusal("cw 7M -60 text=E wpm=0\n"), "scene:1: cw needs text= and a positive wpm=");
  EXPECT_EQ(refusal("usb 7M -60\n"), "scene:1: speech needs file= or text=");
  EXPECT_EQ(refusal("usb 7M -60 text=\"open\n"), "scene:1: a quotation mark is missing");
  EXPECT_EQ(refusal("usb 7M -60 file=/no/such.wav\n"), "scene:1: /no/such.wav: can't be opened");
  EXPECT_EQ(refusal("noise\n"), "scene:1: noise needs one level");
}

TEST(sceneReaderTest, frequenciesAreWholeWhereTheyAreMeantSo) {
  EXPECT_EQ(parseFrequency_Hz("7.074M"), 7074000);
  EXPECT_EQ(parseFrequency_Hz("14074.5k"), 14074500);
  EXPECT_EQ(parseFrequency_Hz("144.300M"), 144300000);
  EXPECT_THROW(parseFrequency_Hz(""), std::runtime_error);
  EXPECT_THROW(parseFrequency_Hz("M"), std::runtime_error);
}

TEST(sceneReaderTest, theBuiltInScenesAreWhole) {
  const auto demo = makeScene("demo")->current();
  int voices = 0;
  for (const auto& signal : demo->signals) {
    EXPECT_GT(signal->frequency_Hz(), 7004000);
    EXPECT_LT(signal->frequency_Hz(), 7196000);
    voices += signal->occupied().low_Hz > 0 || signal->occupied().high_Hz < 0 ? 1 : 0;
  }
  EXPECT_GE(demo->signals.size(), 15u);
  EXPECT_GE(voices, 2);
  EXPECT_GE(makeScene("carriers")->current()->signals.size(), 10u);
  EXPECT_TRUE(makeScene("none")->current()->signals.empty());
  EXPECT_THROW(makeScene("/no/such/scene"), std::runtime_error);
}
