// What the noise reduction does to speech in noise at each strength: noiseReducerStudy. The voices are those of espeak-ng where
// it is installed, else synthetic. Speech and noise lie between 200 and 2900 Hz, as a receiver for single sideband hears them.
#include "dsp/fftConvolver.h"
#include "dsp/filterDesign.h"
#include "dsp/noiseReducer.h"
#include "sim/randomSource.h"
#include "sim/speechSynth.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

using namespace larch;

namespace {

using audio = std::vector<double>;

constexpr double rate = 48000, low_Hz = 200, high_Hz = 2900, peak = 32000.0 / 1.2; // where the gain control brings a block's peak
constexpr double snrs_dB[] = {30, 20, 10, 5, 0};
constexpr double strengths[] = {0, 50, 80, 100}; // percent
constexpr size_t frame = 960, block = noiseReducer::blockLength;
constexpr double activeBelowPeak_dB = 30, pauseBelowPeak_dB = 60; // frames of speech: what counts as said, what as silence
constexpr double segmentLow_dB = -10, segmentHigh_dB = 35;        // of the SNR of a segment
const char* const sentences[] = {
    "Good evening, you are five and nine in the north. My antenna is a dipole at twelve metres. How do you copy?",
    "The weather here is cloudy with some rain. I run one hundred watts. Please repeat your name and your location.",
    "Thank you for the call. The band has been open since noon, but the noise comes up after dark. Seventy three."};
const char* const voices[] = {"en", "en-us+f3", "en+m7"};

// Through the channel filter, its real part.
audio filtered(const audio& in, double low, double high) {
  fftConvolver filter(makeBandpass(-high, -low, rate, 1536, 1536));
  audio out;
  for (size_t at = 0; at < in.size(); at += block) {
    for (size_t i = 0; i < block; i++) filter.input.data[i] = at + i < in.size() ? in[at + i] : 0.0;
    filter.process();
    for (size_t i = 0; i < block; i++) out.push_back(2 * filter.output.data[i].real());
  }
  return out;
}

audio spoken() {
  audio all;
  for (int v = 0; v < 3; v++) {
    const sim::wavData wav = sim::speech(sentences[v], voices[v], 150);
    const double step = wav.rate_Hz / rate;
    audio voice;
    for (double at = 0; at + 1 < static_cast<double>(wav.samples.size()); at += step) {
      const auto i = static_cast<size_t>(at);
      voice.push_back(wav.samples[i] + (at - static_cast<double>(i)) * (wav.samples[i + 1] - wav.samples[i]));
    }
    voice.resize(voice.size() + static_cast<size_t>(1.5 * rate)); // nobody speaks
    all.insert(all.end(), voice.begin(), voice.end());
  }
  return filtered(all, low_Hz, high_Hz);
}

double energy(const audio& x, size_t from, size_t n) {
  double sum = 0;
  for (size_t i = from; i < from + n; i++) sum += x[i] * x[i];
  return sum;
}

struct framing {
  std::vector<size_t> active, pauses; // first samples
};

// Pauses from their second quarter of a second on: the reducer, too, hears that one has begun.
framing framesOf(const audio& speech) {
  double loudest = 0;
  for (size_t at = 0; at + frame <= speech.size(); at += frame) loudest = std::max(loudest, energy(speech, at, frame));
  framing f;
  size_t quiet = 0;
  for (size_t at = 0; at + frame <= speech.size(); at += frame) {
    const double below_dB = 10 * std::log10(loudest / (energy(speech, at, frame) + 1e-30));
    quiet = below_dB > pauseBelowPeak_dB ? quiet + frame : 0;
    if (below_dB < activeBelowPeak_dB) f.active.push_back(at);
    if (quiet > static_cast<size_t>(rate / 4)) f.pauses.push_back(at);
  }
  return f;
}

double level(const audio& x, const std::vector<size_t>& frames) {
  double sum = 1e-30;
  for (const size_t at : frames) sum += energy(x, at, frame);
  return sum / static_cast<double>(frames.size() * frame);
}

audio reduced(const audio& in, double strength) {
  noiseReducer reducer;
  audio out;
  float samples[block];
  for (size_t at = 0; at + block <= in.size(); at += block) {
    for (size_t i = 0; i < block; i++) samples[i] = static_cast<float>(in[at + i]);
    reducer.process(samples, samples, static_cast<float>(strength));
    out.insert(out.end(), samples, samples + block);
  }
  out.erase(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(noiseReducer::delay())); // its delay
  return out;
}

// Share of the speech in x, in dB.
double speechGain_dB(const audio& x, const audio& speech, const std::vector<size_t>& frames) {
  double both = 0, alone = 0;
  for (const size_t at : frames)
    for (size_t i = at; i < at + frame; i++) {
      both += x[i] * speech[i];
      alone += speech[i] * speech[i];
    }
  return 20 * std::log10(std::max(both, 1e-30) / alone);
}

double segmentalSnr_dB(const audio& x, const audio& speech, const std::vector<size_t>& frames) {
  double sum = 0;
  for (const size_t at : frames) {
    double wrong = 1e-30;
    for (size_t i = at; i < at + frame; i++) wrong += (x[i] - speech[i]) * (x[i] - speech[i]);
    sum += std::clamp(10 * std::log10(energy(speech, at, frame) / wrong), segmentLow_dB, segmentHigh_dB);
  }
  return sum / static_cast<double>(frames.size());
}

void scale(audio& x, double factor) {
  for (double& v : x) v *= factor;
}

enum class noiseKind { hiss, crackle, whistle };
constexpr const char* noiseNames[] = {"hiss", "crackle over hiss", "whistle over hiss"};

// Hiss alone; with bursts of 2 ms, twelve a second, that carry nine tenths of the power; with a tone that does.
audio noiseOf(noiseKind kind, size_t count) {
  constexpr double burst_s = 0.002, bursts = 12, tone_Hz = 1100;
  sim::randomSource random(1);
  audio hiss(count), over(count);
  random.addNoise(hiss.data(), count, 1.0);
  hiss = filtered(hiss, low_Hz, high_Hz);
  if (kind == noiseKind::hiss) return hiss;
  if (kind == noiseKind::crackle) {
    random.addNoise(over.data(), count, 1.0);
    double envelope = 0;
    for (double& x : over) {
      if (random.uniform() < bursts / rate) envelope = 1;
      envelope *= std::exp(-1 / (burst_s * rate));
      x *= envelope;
    }
    over = filtered(over, low_Hz, high_Hz);
  } else {
    for (size_t i = 0; i < count; i++) over[i] = std::sin(2 * M_PI * tone_Hz / rate * static_cast<double>(i));
  }
  const double gain = std::sqrt(9 * energy(hiss, 0, count) / energy(over, 0, count));
  for (size_t i = 0; i < count; i++) hiss[i] += gain * over[i];
  return hiss;
}

struct scene {
  audio speech, noise;
  framing frames;
};

// A row: for each strength the noise left in pauses, the level of the speech, the segmental SNR.
void measure(const scene& s, double snr_dB, double peak_dB) {
  const double gain = std::sqrt(level(s.speech, s.frames.active) / level(s.noise, s.frames.active) / std::pow(10.0, snr_dB / 10));
  audio mixed = s.speech, clean = s.speech;
  double loudest = 0;
  for (size_t i = 0; i < mixed.size(); i++) loudest = std::max(loudest, std::fabs(mixed[i] += gain * s.noise[i]));
  const double factor = peak * std::pow(10.0, peak_dB / 20) / loudest;
  scale(mixed, factor);
  scale(clean, factor);
  std::printf("| %.0f dB ", snr_dB);
  if (peak_dB != 0) std::printf("at %.0f dB ", peak_dB);
  for (const double strength : strengths) {
    const audio out = reduced(mixed, strength);
    const double pauses_dB = 10 * std::log10(level(out, s.frames.pauses) / level(mixed, s.frames.pauses));
    std::printf("| %.1f, %.1f, %.1f ", pauses_dB, speechGain_dB(out, clean, s.frames.active),
                segmentalSnr_dB(out, clean, s.frames.active));
  }
  std::printf("|\n");
  std::fflush(stdout);
}

} // namespace

int main() {
  scene s;
  s.speech = spoken();
  s.frames = framesOf(s.speech);
  const size_t usable = s.speech.size() - noiseReducer::delay() - block;
  std::erase_if(s.frames.active, [&](size_t at) { return at + frame > usable; });
  std::erase_if(s.frames.pauses, [&](size_t at) { return at + frame > usable || at < static_cast<size_t>(2 * rate); });
  std::printf("%.1f s, %zu frames of speech, %zu of pauses\n", static_cast<double>(s.speech.size()) / rate,
              s.frames.active.size(), s.frames.pauses.size());
  std::printf("dB at each strength: noise in pauses, speech, segmental SNR\n| SNR ");
  for (const double strength : strengths) std::printf("| %.0f %% ", strength);
  for (const noiseKind kind : {noiseKind::hiss, noiseKind::crackle, noiseKind::whistle}) {
    std::printf("|\n%s\n", noiseNames[static_cast<int>(kind)]);
    s.noise = noiseOf(kind, s.speech.size());
    for (const double snr_dB : snrs_dB) measure(s, snr_dB, 0);
    if (kind != noiseKind::hiss) continue;
    for (const double peak_dB : {-20.0, -40.0, -60.0}) measure(s, 10, peak_dB);
  }
}
