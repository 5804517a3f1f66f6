// Noise reduction on a voice in noise, both between 200 and 2900 Hz as in a channel. The network's answer depends on what it
// hears and how loud, so that bare noise proves little.
#include "dsp/fftConvolver.h"
#include "dsp/filterDesign.h"
#include "dsp/noiseReducer.h"
#include "sim/randomSource.h"
#include "sim/speechSynth.h"
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace larch {
namespace {

using audio = std::vector<double>;

constexpr size_t block = noiseReducer::blockLength, second = 48000, voiceLength = 2 * second, pauseLength = second;
constexpr size_t sayings = 3, hearsThePause = second / 2;

audio channelled(const audio& in) {
  fftConvolver filter(makeBandpass(-2900, -200, 48000, 1536, 1536));
  audio out;
  for (size_t at = 0; at + block <= in.size(); at += block) {
    for (size_t i = 0; i < block; i++) filter.input.data[i] = in[at + i];
    filter.process();
    for (size_t i = 0; i < block; i++) out.push_back(2 * filter.output.data[i].real());
  }
  return out;
}

// A synthetic voice for two seconds, then nothing for one, several times; 16-bit scale.
audio voice() {
  audio all;
  for (size_t k = 0; k < sayings; k++) {
    const auto wav = sim::syntheticSpeech(2.0, k + 1); // 16 kHz
    for (size_t i = 0; i < voiceLength; i++) {
      const size_t n = i / 3, next = std::min(n + 1, wav.samples.size() - 1);
      const double share = static_cast<double>(i % 3) / 3;
      all.push_back(24000 * ((1 - share) * wav.samples[n] + share * wav.samples[next]));
    }
    all.resize(all.size() + pauseLength);
  }
  return channelled(all);
}

bool inVoice(size_t i) { return i % (voiceLength + pauseLength) < voiceLength; }
bool inPause(size_t i) { return i % (voiceLength + pauseLength) >= voiceLength + hearsThePause; }

audio reduced(const audio& in, float strength) {
  noiseReducer reducer;
  audio out;
  std::vector<float> samples(block);
  for (size_t at = 0; at + block <= in.size(); at += block) {
    for (size_t i = 0; i < block; i++) samples[i] = static_cast<float>(in[at + i]);
    reducer.process(samples.data(), samples.data(), strength);
    out.insert(out.end(), samples.begin(), samples.end());
  }
  out.erase(out.begin(), out.begin() + static_cast<long>(noiseReducer::delay()));
  return out;
}

template <class Where> double power(const audio& x, size_t n, Where where) {
  double sum = 0, count = 0;
  for (size_t i = voiceLength; i < n; i++)
    if (where(i)) {
      sum += x[i] * x[i];
      count++;
    }
  return sum / count;
}

// Share of the voice in x, dB.
double voiceGain_dB(const audio& x, const audio& clean) {
  double both = 0, alone = 0;
  for (size_t i = voiceLength; i < x.size(); i++) {
    both += x[i] * clean[i];
    alone += clean[i] * clean[i];
  }
  return 20 * std::log10(both / alone);
}

TEST(noiseReducerSpeechTest, quietensThePausesAndKeepsTheVoice) {
  const audio clean = voice();
  audio noise(clean.size());
  sim::randomSource random(2);
  random.addNoise(noise.data(), noise.size(), 1.0);
  noise = channelled(noise);
  for (const double snr_dB : {20.0, 10.0}) {
    const double gain =
        std::sqrt(power(clean, clean.size(), inVoice) / power(noise, noise.size(), inVoice) / std::pow(10.0, snr_dB / 10));
    audio mixed = clean;
    for (size_t i = 0; i < mixed.size(); i++) mixed[i] += gain * noise[i];
    double last_dB = 1;
    for (const auto& [strength, least_dB, most_dB] :
         {std::array{0.0, -0.1, 0.1}, {50.0, -6.1, -4.5}, {80.0, -14.1, -10.0}, {100.0, -80.0, -15.0}}) {
      const audio out = reduced(mixed, static_cast<float>(strength));
      const double pauses_dB = 10 * std::log10(power(out, out.size(), inPause) / power(mixed, out.size(), inPause));
      EXPECT_GT(pauses_dB, least_dB) << snr_dB << " dB, " << strength << " %";
      EXPECT_LT(pauses_dB, most_dB) << snr_dB << " dB, " << strength << " %";
      EXPECT_LT(pauses_dB, last_dB);
      EXPECT_NEAR(voiceGain_dB(out, clean), 0, 2.0) << snr_dB << " dB, " << strength << " %";
      last_dB = pauses_dB;
    }
  }
}

} // namespace
} // namespace larch
