// A receiver for AM or FM on the simulated radio, from its datagrams to the audio for the sound card; what it may listen to, and
// what is measured of the audio. Without any test framework, for tests and studies alike.
#pragma once
#include "modes/amModDemod.h"
#include "modes/fmFilters.h"
#include "modes/fmModDemod.h"
#include "sim/fmSource.h"
#include "sim/recordingSource.h"
#include "tests/radio/handTurnedRadio.h"
#include "tests/radio/transmitQualityMeasures.h"
#include <cmath>
#include <functional>

namespace larch::test {

// A carrier of the level with a tone on it, by the formula: envelope 1 + depth * sin.
class toneAmSource : public sim::signalSource {
 public:
  toneAmSource(double frequency, double level_dBFS, double depth, double tone_Hz)
      : signalSource(frequency, level_dBFS), depth_(depth), tone_Hz_(tone_Hz) {}
  sim::envelopeShape envelope(const sim::timeGrid& grid, const sim::heardBand&, std::complex<double>* out) const override {
    for (std::size_t n = 0; n < grid.count; n++) {
      const double turns = tone_Hz_ * (grid.start_s + grid.step_s * static_cast<double>(n));
      out[n] = 1 + depth_ * std::sin(2 * M_PI * (turns - std::floor(turns)));
    }
    return sim::envelopeShape::varying;
  }
  sim::heardBand occupied() const override { return {-tone_Hz_, tone_Hz_}; }
  std::string describe() const override { return "am by the formula"; }

 private:
  double depth_, tone_Hz_;
};

inline std::shared_ptr<sim::signalSource> toneFm(double frequency, double level_dBFS, double deviation, double tone_Hz,
                                                 double ctcss_Hz = 0) {
  return std::make_shared<sim::fmSource>(
      frequency, level_dBFS, sim::fmSource::sending{.deviation_Hz = deviation, .ctcss_Hz = ctcss_Hz, .testTone_Hz = tone_Hz});
}

// What a transmitter sent, at 48 kHz, over and over: whole periods of all that is in it.
inline std::shared_ptr<sim::signalSource> sentBefore(double frequency, double level_dBFS,
                                                     const std::vector<std::complex<double>>& sent) {
  sim::wavData iq{48000, 2, {}};
  for (const auto& z : sent) {
    iq.samples.push_back(static_cast<float>(z.real()));
    iq.samples.push_back(static_cast<float>(z.imag()));
  }
  return std::make_shared<sim::recordingSource>(frequency, level_dBFS, iq);
}

// Mode with views of its audio, in which the chain works in place.
template <class Mode> class overheard : public Mode {
 public:
  using Mode::Mode;
  buff<float> demodulate(const cbuff& block) override {
    views.push_back(Mode::demodulate(block));
    return views.back();
  }
  std::vector<buff<float>> views;
};

template <class Mode> class voiceReceiver : public handTurnedRadio {
 public:
  static constexpr int32_t vfo = 29'000'000; // Hz

  // filter: Hz on either side. The gain stands still at a tenth unless gainControl is asked for.
  voiceReceiver(int32_t rate, int32_t filter, const std::function<void(Mode&)>& prepare = {}, bool gainControl = false) {
    amDcAverage = 0;
    radio->HLite2Gain.set(true);
    radio->SampleRate.set(rate);
    add(vfo);
    if (!gainControl) {
      transceiver->rxagc.value->Enabled.set(false);
      transceiver->rxagc.value->ManualGain.set(-1.0);
    }
    if (prepare) prepare(*mode);
    transceiver->setModulation(mode);
    transceiver->setRxFilter(-filter, filter);
    start();
    hear(settling_s);
  }
  // The audio of so much of the stream.
  std::vector<double> hear(double seconds) {
    for (const double end_s = board->report().radioTime_s + seconds; board->report().radioTime_s < end_s;) runBatch();
    std::vector<double> audio;
    for (const auto& view : mode->views) audio.insert(audio.end(), view.data, view.data + view.count);
    mode->views.clear();
    return audio;
  }
  // One station in noise of so much in 1 Hz, dBFS, when all that was before is over.
  std::vector<double> listenTo(const std::shared_ptr<const sim::signalSource>& station, double noise_dBFS, double seconds) {
    scene->clear();
    scene->add(station);
    scene->setNoise(noise_dBFS);
    hear(settling_s);
    return hear(seconds);
  }

  std::shared_ptr<overheard<Mode>> mode = keptByCore(std::make_shared<overheard<Mode>>(nullptr));

 private:
  static constexpr double settling_s = 0.2; // registers, filters
};

// Of the noise behind FM's audio filter, Hz^3: the square of the frequency, in which the noise of a discriminator rises, times
// the filter's power gain, over that at the tone. A carrier C over the noise in 1 Hz gives a tone deviation^2 / 2 * C / this.
inline double fmNoiseBand(double tone_Hz) {
  constexpr double step_Hz = 5, top_Hz = 6000;
  const cbuff taps = fmReceiveFilter();
  const auto gain = [&taps](double f) {
    std::complex<double> sum = 0;
    for (uint64_t i = 0; i < taps.count; i++)
      sum += taps.data[i] * std::polar(1.0, 2 * M_PI * f / 48000 * static_cast<double>(i));
    return std::norm(sum);
  };
  double sum = 0;
  for (double f = step_Hz; f < top_Hz; f += step_Hz) sum += gain(f) * f * f * step_Hz;
  return sum / gain(tone_Hz);
}

// A tone and what is beside it, 50 Hz to 20 kHz.
struct toneQuality {
  double amplitude, thd_dB, sinad_dB, snr_dB; // THD: harmonics to the tone; SNR: the tone to all but itself and its harmonics
};
inline toneQuality qualityOf(const std::vector<double>& audio, double tone_Hz, uint32_t bins = 16384) {
  constexpr double low_Hz = 50, high_Hz = 20000;
  constexpr int64_t lobe = 8; // bins of a line to either side
  const std::vector<std::complex<double>> samples(audio.begin(), audio.end());
  const powerSpectrumOf p(samples.data(), samples.size(), bins);
  const auto nearest = [&](int64_t bin) { return std::max(1.0, std::round(static_cast<double>(bin) * p.bin_Hz() / tone_Hz)); };
  double tone = 0, harmonics = 0, rest = 0;
  for (auto k = std::llround(low_Hz / p.bin_Hz()); k <= std::llround(high_Hz / p.bin_Hz()); k++) {
    const double n = nearest(k);
    const bool inLine = std::llabs(k - std::llround(n * tone_Hz / p.bin_Hz())) <= lobe;
    (!inLine ? rest : n > 1 ? harmonics : tone) += p.at(k);
  }
  const double beside = std::max(harmonics + rest, 1e-30);
  return {2 * std::sqrt(tone), decibels(harmonics / tone), decibels((tone + beside) / beside),
          decibels(tone / std::max(rest, 1e-30))};
}

} // namespace larch::test
