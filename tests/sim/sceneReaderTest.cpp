#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>
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

TEST(sceneReaderTest, readsStationsWithAllTheirWords) {
  const auto c = read("psk 7.0405M -70 mode=qpsk63 text=\"CQ de Q1ABC\" start=1 pause=5 rate_error=-50 drift=0.5\n"
                      "psk 7.041M -70 text=e\n"
                      "rtty 7.047M -65 text=\"CQ\" shift=425 baud=50 stop=2 reverse=yes start=1 pause=5\n"
                      "carrier 7.05M -40 fade=20,0.5\n"
                      "cw 7.02M -40 text=E fade=10,1,7\n");
  const auto voices = read("am 7.21M -40 text=\"news\" depth=0.5 pause=1 voice=en speed=200\n"
                           "fm 29.6M -50 text=\"over\" deviation=3000 ctcss=88.5 emphasis=0 audio=2700 pause=1\n"
                           "fm 29M -50 tone=1000 deviation=75000\n"
                           "fm 29.1M -50 fade=10,1\n");
  ASSERT_EQ(c->signals.size(), 5u);
  EXPECT_EQ(c->signals[0]->describe(), "qpsk63 7040500 Hz -70.0 dBFS \"CQ de Q1ABC\"");
  EXPECT_GT(c->signals[0]->occupied().high_Hz, -c->signals[0]->occupied().low_Hz); // it drifts
  EXPECT_EQ(c->signals[1]->describe(), "bpsk31 7041000 Hz -70.0 dBFS \"e\"");
  EXPECT_EQ(c->signals[2]->describe(), "rtty 7047000 Hz -65.0 dBFS 50 baud shift 425 Hz reverse \"CQ\"");
  EXPECT_EQ(c->signals[3]->describe(), "carrier 7050000 Hz -40.0 dBFS fading 20 dB 0.5 Hz");
  ASSERT_EQ(voices->signals.size(), 4u);
  EXPECT_EQ(voices->signals[0]->describe(), "am 7210000 Hz -40.0 dBFS depth 0.5 news");
  EXPECT_EQ(voices->signals[1]->describe(), "fm 29600000 Hz -50.0 dBFS deviation 3000 Hz ctcss 88.5 Hz over");
  EXPECT_EQ(voices->signals[1]->occupied().high_Hz, 3000 + 2 * 2700);
  EXPECT_EQ(voices->signals[2]->occupied().high_Hz, 77000);
  EXPECT_TRUE(voices->signals[3]->fitsItself());
  EXPECT_EQ(c->signals[4]->describe(), "cw 7020000 Hz -40.0 dBFS 20 wpm \"E\" fading 10 dB 1 Hz");
}

TEST(sceneReaderTest, readsFilesBesideTheScene) {
  const std::string name = "larchsim-scene-" + std::to_string(getpid()) + ".wav", path = testing::TempDir() + name;
  writeWav(path, 48000, 2, std::vector<float>(200, 0.5F));
  const auto c = read("iq 7.1M -10 file=" + name + " mirrored=yes\nlsb 7.1M -40 file=" + path + "\nwav 14074k -50 file=" + name +
                          " period=7.5 start=1\n",
                      testing::TempDir());
  std::remove(path.c_str());
  ASSERT_EQ(c->signals.size(), 3u);
  EXPECT_EQ(c->signals[2]->describe(), "wav 14074000 Hz -50.0 dBFS each 7.5 s " + name);
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
  for (const char* words : {"", " file=a.wav period=0", " file=a.wav period=3601", " file=a.wav start=-1"})
    EXPECT_EQ(refusal(std::string("wav 7M -60") + words),
              "scene:1: wav needs file=, a period= from 0.5 to 3600 and no negative start=");
  EXPECT_EQ(refusal("wav 7M -60 file=/nowhere/a.c2"), "scene:1: /nowhere/a.c2: can't be opened");
  EXPECT_EQ(refusal("cw 7M -60\n"), "scene:1: cw needs text= and a positive wpm=");
  EXPECT_EQ(refusal("cw 7M -60 text=E wpm=0\n"), "scene:1: cw needs text= and a positive wpm=");
  EXPECT_EQ(refusal("usb 7M -60\n"), "scene:1: speech needs file= or text=");
  EXPECT_EQ(refusal("usb 7M -60 text=\"open\n"), "scene:1: a quotation mark is missing");
  EXPECT_EQ(refusal("usb 7M -60 file=/no/such.wav\n"), "scene:1: /no/such.wav: can't be opened");
  EXPECT_EQ(refusal("psk 7M -60\n"), "scene:1: psk needs text= and a rate_error= up to 100000");
  EXPECT_EQ(refusal("psk 7M -60 text=e rate_error=-1e6\n"), "scene:1: psk needs text= and a rate_error= up to 100000");
  EXPECT_EQ(refusal("psk 7M -60 text=e mode=psk31\n"), "scene:1: not understood: mode=psk31");
  EXPECT_EQ(refusal("rtty 7M -60 text=E baud=0\n"),
            "scene:1: rtty needs text=, a positive shift= and baud=, and a stop= from 1 on");
  EXPECT_EQ(refusal("rtty 7M -60 text=E reverse=maybe\n"), "scene:1: not understood: reverse=maybe");
  EXPECT_EQ(refusal("am 7M -60\n"), "scene:1: am needs file= or text=");
  EXPECT_EQ(refusal("am 7M -60 text=a depth=1.1\n"), "scene:1: am needs a depth= from 0 to 1");
  EXPECT_EQ(refusal("am 7M -60 text=a file=b.wav\n"), "scene:1: file= or text=, not both");
  EXPECT_EQ(refusal("fm 7M -60 text=a tone=1000\n"), "scene:1: tone= or audio, not both");
  EXPECT_EQ(refusal("fm 7M -60 text=a deviation=0\n"),
            "scene:1: fm needs a positive deviation=, an audio= from 1000 on, and no negative numbers");
  EXPECT_EQ(refusal("carrier 7M -60 fade=20\n"), "scene:1: fade needs two numbers and perhaps a seed");
  EXPECT_EQ(refusal("carrier 7M -60 fade=20,0\n"), "scene:1: fade needs positive numbers");
  EXPECT_EQ(refusal("carrier 7M -60 fade=20,x\n"), "scene:1: no number: x");
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
  int voices = 0, elsewhere = 0;
  for (const auto& signal : demo->signals) {
    EXPECT_LT(signal->frequency_Hz(), 38.4e6) << signal->describe();
    if (signal->frequency_Hz() < 7004000 || signal->frequency_Hz() > 7196000) ++elsewhere;
    voices += signal->occupied().low_Hz > 0 || signal->occupied().high_Hz < 0 ? 1 : 0;
  }
  EXPECT_GE(demo->signals.size(), 15u);
  EXPECT_GE(voices, 2);
  EXPECT_EQ(elsewhere, 3); // AM and FM
  EXPECT_GE(makeScene("carriers")->current()->signals.size(), 10u);
  EXPECT_TRUE(makeScene("none")->current()->signals.empty());
  EXPECT_THROW(makeScene("/no/such/scene"), std::runtime_error);
}

TEST(sceneReaderTest, eightSteadyStationsAreWhereTheDemoReadsPsk) {
  constexpr double low = 7039700 + 200, high = 7039700 + 3200; // scripts/demo's frequency, the passband of larch psk
  std::istringstream demo(demoSceneText());
  int steady = 0;
  for (std::string line; std::getline(demo, line);) {
    if (line.find("mode=bpsk") == std::string::npos) continue; // four phases are read when they are asked for
    const auto signal = read(line)->signals.at(0);
    EXPECT_GE(signal->frequency_Hz(), low + 60) << line;
    EXPECT_LE(signal->frequency_Hz(), high - 60) << line;
    steady += line.find("fade=") == std::string::npos;
  }
  EXPECT_GE(steady, 8);
}

TEST(sceneReaderTest, theDemosSignalsLeaveEachOtherRoom) {
  const auto demo = makeScene("demo")->current();
  std::vector<double> psk;
  for (const auto& a : demo->signals) {
    if (a->describe().find("psk") == 1) psk.push_back(a->frequency_Hz());
    for (const auto& b : demo->signals) {
      if (a->frequency_Hz() >= b->frequency_Hz()) continue; // the caller and its answer share theirs
      EXPECT_GE(b->frequency_Hz() - a->frequency_Hz(), 110) << a->describe() << "\n" << b->describe();
      const bool keyed = a->describe().find("psk") == 1 || b->describe().find("rtty") == 0;
      if (!keyed || b->describe().find("psk") == 1) continue;
      EXPECT_GE(b->frequency_Hz() + b->occupied().low_Hz, a->frequency_Hz() + a->occupied().high_Hz) << b->describe();
    }
  }
  ASSERT_EQ(psk.size(), 12u);
  EXPECT_GE(psk.front(), 7040000);
  EXPECT_LE(psk.back(), 7043000);
}
