// Noise reduction in whole transceivers, mode by mode: a constant delay, the strength, and what wide FM makes of it.
#include "link/MultiPskModDemod.h"
#include "modes/JTModDemod.h"
#include "modes/PskModDemod.h"
#include "modes/RTTYModDemod.h"
#include "modes/amModDemod.h"
#include "modes/cwModDemod.h"
#include "modes/fmModDemod.h"
#include "modes/fskModDemod.h"
#include "modes/hellschreiberModDemod.h"
#include "modes/proxyModDemod.h"
#include "modes/sigGenModDemod.h"
#include "modes/ssbModDemod.h"
#include "sim/randomSource.h"
#include "tests/transceiver/chainTesting.h"
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr int32_t centre = 14100000;
constexpr size_t block = noiseReducer::blockLength, settled = 40 * block;

// Keeps the audio as it leaves the mode, and a view of it that shows what the chain makes of it in place.
template <class Mode> class overheard : public Mode {
 public:
  using Mode::Mode;
  buff<float> demodulate(const cbuff& b) override {
    last = Mode::demodulate(b);
    spoken.insert(spoken.end(), last.data, last.data + last.count);
    views.push_back(last);
    return last;
  }
  std::vector<float> spoken;
  std::vector<buff<float>> views;
  buff<float> last;
};

struct heardAudio {
  std::vector<float> spoken, out; // what left the mode, and the chain
};

// A signal with noise around it at 48 or 384 kHz, faint enough that both gain controls stand still: 1, and the 10 dB limit.
template <class Mode> struct receiver {
  station s;
  std::shared_ptr<overheard<Mode>> mode = keptByCore(std::make_shared<overheard<Mode>>(s.env.group));
  sim::randomSource random{7};
  int32_t rate;
  uint64_t at = 0;

  explicit receiver(int32_t hardwareRate = 48000, const std::function<void(Mode&)>& prepare = {}) : rate(hardwareRate) {
    amDcAverage = 0.0;
    if (prepare) prepare(*mode);
    s.transceiver->rxagc.value->Enabled.set(false);
    s.transceiver->rxagc.value->ManualGain.set(0.0);
    s.transceiver->rxagc.value->Hang.set(0.0f);
    s.transceiver->vfo.set(centre);
    s.transceiver->setModulation(mode);
    s.transceiver->setRxFilter(-3000, 3000);
    s.transceiver->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
    s.transceiver->start();
    mode->rnnoise.set(true);
    s.env.turns();
  }
  void chunk() {
    cbuff samples(static_cast<uint64_t>(rate) / 48000 * block);
    for (uint64_t i = 0; i < samples.count; i++, at++)
      samples.data[i] = std::polar(0.03, -2 * pi * 700 / rate * static_cast<double>(at));
    random.addNoise(samples.data, samples.count, 0.002);
    s.chunk(samples, centre, rate);
  }
  heardAudio run(int chunks, const std::function<double(int)>& strength_percent) {
    heardAudio heard;
    for (int k = 0; k < chunks; k++) {
      mode->rnnoiseSquelch.set(strength_percent(k));
      chunk();
      for (const auto& view : mode->views) heard.out.insert(heard.out.end(), view.data, view.data + view.count);
      mode->views.clear();
    }
    heard.spoken = mode->spoken;
    return heard;
  }
};

// A block that is lost writes a line, as it must.
struct capturedLines {
  capturedLines() { testing::internal::CaptureStdout(); }
  ~capturedLines() { EXPECT_NE(testing::internal::GetCapturedStdout().find("buff copyTo error"), std::string::npos); }
};

const float postGain = std::sqrt(10.0f);

double power(const std::vector<float>& x, size_t from) {
  double sum = 0;
  for (size_t i = from; i < x.size(); i++) sum += x[i] * static_cast<double>(x[i]);
  return sum / static_cast<double>(x.size() - from);
}

template <class Mode> class noiseModesTest : public testing::Test {
 protected:
  static void prepare(Mode& mode) {
    if constexpr (std::is_same_v<Mode, fmModDemod>) mode.deviation.set(5000.0);
    if constexpr (std::is_same_v<Mode, MultiPskModDemod>) mode.port.set(0); // a free one
  }
  static heardAudio run(int chunks, const std::function<double(int)>& strength_percent) {
    return receiver<Mode>(48000, prepare).run(chunks, strength_percent);
  }
};

using narrowModes = testing::Types<ssbModDemod, amModDemod, fmModDemod, cwModDemod, MultiPskModDemod>;
TYPED_TEST_SUITE(noiseModesTest, narrowModes);

TYPED_TEST(noiseModesTest, strengthZeroIsTheModesAudioLater) {
  const auto heard = this->run(80, [](int) { return 0.0; });
  ASSERT_EQ(heard.out.size(), 80 * block);
  ASSERT_EQ(heard.spoken.size(), heard.out.size());
  ASSERT_GT(power(heard.spoken, settled), 1e-9) << "there is something to hear";
  const size_t delay = noiseReducer::delay();
  for (size_t i = settled; i < heard.out.size(); i++) ASSERT_NEAR(heard.out[i], postGain * heard.spoken[i - delay], 1e-6) << i;
}

TYPED_TEST(noiseModesTest, strengthsBlendTheSameMoments) {
  const auto none = this->run(100, [](int) { return 0.0; }).out, all = this->run(100, [](int) { return 100.0; }).out;
  const double scale = std::sqrt(power(none, settled));
  double differ = 0;
  for (size_t i = settled; i < none.size(); i++) differ = std::max(differ, std::fabs(static_cast<double>(none[i]) - all[i]));
  EXPECT_GT(differ, 0.1 * scale) << "the network does something";
  for (const double strength : {20.0, 50.0, 80.0}) {
    const auto some = this->run(100, [=](int) { return strength; }).out;
    for (size_t i = settled; i < none.size(); i++) {
      const double share = strength / 100, expected = share * all[i] + (1 - share) * none[i];
      ASSERT_NEAR(some[i], expected, 1e-5 * scale + 1e-6) << strength << " " << i;
    }
  }
}

TYPED_TEST(noiseModesTest, changedStrengthCountsFromTheNextBlock) {
  const auto none = this->run(80, [](int) { return 0.0; }).out, all = this->run(80, [](int) { return 100.0; }).out;
  const auto changing = this->run(80, [](int k) { return k % 5 < 2 ? 100.0 : 0.0; }).out;
  ASSERT_NE(none, all);
  for (size_t i = settled; i < changing.size(); i++) ASSERT_NEAR(changing[i], (i / block % 5 < 2 ? all : none)[i], 1e-6) << i;
}

// The others that give audio hand on what is on the channel.
template <class Mode> class noiseTextModesTest : public testing::Test {};
using textModes = testing::Types<PskModDemod, RTTYModDemod, hellschreiberModDemod, JTModDemod, sigGenModDemod, proxyModDemod>;
TYPED_TEST_SUITE(noiseTextModesTest, textModes);

TYPED_TEST(noiseTextModesTest, audioIsDelayedAsInSpeechAndReduced) {
  const auto none = receiver<TypeParam>().run(60, [](int) { return 0.0; });
  ASSERT_EQ(none.out.size(), 60 * block);
  ASSERT_GT(power(none.spoken, settled), 1e-9) << "there is something to hear";
  for (size_t i = settled; i < none.out.size(); i++)
    ASSERT_NEAR(none.out[i], postGain * none.spoken[i - noiseReducer::delay()], 1e-6) << i;
  const auto all = receiver<TypeParam>().run(60, [](int) { return 100.0; });
  ASSERT_EQ(all.spoken, none.spoken);
  double differ = 0;
  for (size_t i = settled; i < none.out.size(); i++)
    differ = std::max(differ, std::fabs(static_cast<double>(none.out[i]) - all.out[i]));
  EXPECT_GT(differ, 0.1 * std::sqrt(power(none.out, settled))) << "the network does something";
}

TEST(noiseFskTest, silenceStaysSilenceAtAnyStrength) {
  for (const double strength : {0.0, 50.0, 100.0}) {
    const auto heard = receiver<fskModDemod>().run(60, [=](int) { return strength; });
    ASSERT_EQ(heard.out.size(), 60 * block);
    EXPECT_EQ(heard.out, std::vector<float>(heard.out.size(), 0.0f)) << strength;
  }
}

// 64 samples go past the network: eight blocks later, and one of nine is lost.
TEST(noiseWideFmTest, blocksOf64AreOnlyDelayedAtAnyStrength) {
  const capturedLines lines;
  const auto wide = [](fmModDemod& mode) { mode.deviation.set(75000.0); };
  std::vector<std::vector<float>> outs;
  for (const double strength : {0.0, 80.0, 100.0}) {
    const auto heard = receiver<fmModDemod>(384000, wide).run(40, [=](int) { return strength; });
    constexpr size_t length = 64, cycle = 9, later = 8;
    ASSERT_EQ(heard.out.size(), 40 * 8 * length);
    ASSERT_GT(power(heard.spoken, heard.spoken.size() / 2), 1e-9);
    for (size_t i = heard.out.size() / 2; i < heard.out.size(); i++) {
      const size_t n = i / length;
      const float expected = n % cycle == cycle - 2 ? 0.0f : postGain * heard.spoken[i - later * length];
      ASSERT_NEAR(heard.out[i], expected, 1e-6) << strength << " " << i;
    }
    outs.push_back(heard.out);
  }
  EXPECT_EQ(outs[0], outs[1]);
  EXPECT_EQ(outs[0], outs[2]);
}

// The network hears on where it stopped when the deviation comes back.
TEST(noiseWideFmTest, narrowFmFindsTheNetworkAgain) {
  const capturedLines lines;
  receiver<fmModDemod> r(384000, [](fmModDemod& mode) { mode.deviation.set(5000.0); });
  const auto strength = [](int) { return 0.0; };
  r.run(10, strength);
  r.mode->deviation.set(75000.0);
  r.run(10, strength);
  r.mode->deviation.set(5000.0);
  r.mode->spoken.clear();
  const auto heard = r.run(60, strength);
  ASSERT_EQ(heard.out.size(), 60 * block);
  for (size_t i = settled; i < heard.out.size(); i++)
    ASSERT_NEAR(heard.out[i], postGain * heard.spoken[i - noiseReducer::delay()], 1e-6) << i;
}

} // namespace
} // namespace larch::test
