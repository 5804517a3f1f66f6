// What is transmitted, measured in the words that a radio gets: transmitQualityStudy [table ...], without a name all tables.
// Spectra: seven-term Blackman-Harris window, 65536 points (0.73 Hz a bin) where nothing else is said.
#include "dsp/filterDesign.h"
#include "modes/amModDemod.h"
#include "modes/cwModDemod.h"
#include "modes/fmModDemod.h"
#include "modes/sigGenModDemod.h"
#include "runtime/log.h"
#include "tests/radio/transmitQualityTesting.h"
#include "transceiver/transmitChain.h"
#include <cstdio>
#include <cstring>

using namespace larch;
using namespace larch::test;

namespace {

powerSpectrumOf spectrumOf(const std::vector<cdouble>& samples, uint32_t length = 65536) {
  return {samples.data(), samples.size(), length};
}

void twoToneTable(double f1, double f2) {
  std::printf("\nTwo tones of %g and %g Hz, filter 200 to 2900 Hz, no equaliser. dBFS, dBc to the stronger tone\n", f1, f2);
  std::printf("compr  each tone  on the wire    peak  2f1-f2   2f2-f1   3f1-2f2  3f2-2f1  strongest other line\n");
  for (const double compression : {0.25, 1.0, 2.0, 4.0}) {
    transmittingStation station({});
    station.use(flatSsb(compression));
    for (const double level : {-40.0, -26.0, -20.0, -14.0, -10.0, -6.0}) {
      station.speak(twoTones(f1, f2, fromDecibels(level)));
      const auto sent = settledPart(station.send(enough_s));
      const auto p = spectrumOf(sent);
      const double tone = std::max(p.line(f1), p.line(f2));
      std::printf("%5.2f  %9.0f  %11.2f  %6.3f  %7.1f  %7.1f  %7.1f  %7.1f  %7.1f\n", compression, level, decibels(tone),
                  largestMagnitude(sent), decibels(p.line(2 * f1 - f2) / tone), decibels(p.line(2 * f2 - f1) / tone),
                  decibels(p.line(3 * f1 - 2 * f2) / tone), decibels(p.line(3 * f2 - 2 * f1) / tone),
                  decibels(p.strongestBeside({f1, f2}) / tone));
    }
  }
}

void imd() {
  twoToneTable(700, 1900);
  twoToneTable(1400, 1700);
}

void sideband() {
  std::printf(
      "\nA sine of -6 dBFS, filter 200 to 2900 Hz, no equaliser. The suppressed line and all power on the other side, dBc\n");
  std::printf("  Hz ");
  const double compressions[] = {0.25, 0.5, 1.0, 2.0, 4.0};
  for (const double c : compressions) std::printf("   compression %-5.2f      ", c);
  std::printf("\n     ");
  for (std::size_t i = 0; i < std::size(compressions); i++) std::printf("   wire dBFS    -f   side  ");
  std::printf("\n");
  for (const double f : {200.0, 300.0, 400.0, 700.0, 1000.0, 1500.0, 2000.0, 2500.0, 2800.0, 2900.0}) {
    std::printf("%5.0f", f);
    for (const double c : compressions) {
      transmittingStation station({});
      station.use(flatSsb(c));
      station.speak(sineOf(f + 0.37, 0.5)); // no period of a few samples: rounding is noise, not lines
      const auto p = spectrumOf(settledPart(station.send(enough_s)));
      const double wanted = p.line(f + 0.37);
      if (wanted == 0) {
        std::printf("    nothing                ");
        continue;
      }
      std::printf("  %8.1f  %6.1f %6.1f ", decibels(wanted), decibels(p.line(-f - 0.37) / wanted),
                  decibels(p.between(-24000, -20) / wanted));
    }
    std::printf("\n");
  }
}

void carrier() {
  std::printf("\nThe carrier (16 Hz around it) under a sine of 1000.37 Hz of -6 dBFS, with and without 0.25 of constant in the "
              "microphone, dBc\n");
  for (const double constant : {0.0, 0.25})
    for (const double c : {0.25, 1.0, 4.0}) {
      transmittingStation station({});
      station.use(flatSsb(c));
      const auto sine = sineOf(1000.37, 0.5);
      station.speak([=](int64_t n) { return sine(n) + constant; });
      const auto p = spectrumOf(settledPart(station.send(enough_s)));
      std::printf("constant %.2f compression %.2f: %.1f\n", constant, c, decibels(p.line(0) / p.line(1000.37)));
    }
}

void speech() {
  std::printf("\nVoice-like noise, filter 200 to 2900 Hz, no equaliser; 8 s. Levels: power within 500 Hz, to the whole, dB. Bins "
              "of 5.9 Hz\n");
  std::printf("compr   rms in  rms out  peak   99 %% from to Hz     width  below 100  above 3000");
  for (const int f : {-10, -6, -4, 4, 6, 10}) std::printf("  %+3d kHz", f);
  std::printf("\n");
  for (const double c : {0.25, 0.5, 1.0, 2.0, 4.0, 20.0}) {
    transmittingStation station({});
    station.use(flatSsb(c));
    station.speak(voiceLikeNoise(fromDecibels(-20)));
    const auto sent = settledPart(station.send(8.2));
    const auto p = spectrumOf(sent, 8192);
    const auto [low, high] = p.occupied();
    std::printf("%5.2f  %6.1f  %7.1f  %.3f  %6.0f %6.0f  %9.0f  %9.1f  %9.1f ", c, -20.0, decibels(p.total()),
                largestMagnitude(sent), low, high, high - low, decibels(p.between(-24000, 100) / p.total()),
                decibels(p.between(3000, 23990) / p.total()));
    for (const double f : {-10e3, -6e3, -4e3, 4e3, 6e3, 10e3})
      std::printf("  %7.1f", decibels(p.between(f - 250, f + 250) / p.total()));
    std::printf("\n");
  }
}

void boundaries() {
  constexpr double f = 1234.567;
  std::printf(
      "\nA sine of %g Hz for 44 s, bins of 0.092 Hz: lines at multiples of 48000/126 and 48000/512 Hz, to the tone and to the "
      "noise around them\n",
      f);
  for (const double c : {0.5, 4.0}) {
    transmittingStation station({});
    station.use(flatSsb(c));
    station.speak(sineOf(f, 0.9));
    const auto p = spectrumOf(settledPart(station.send(44.3)), 524288);
    const double tone = p.line(f);
    for (const double step : {48000 / 126.0, 48000 / 512.0}) {
      double most = 0, mostAt = 0, mean = 0, around = 0;
      int count = 0;
      for (int k = -static_cast<int>(23900 / step); k * step < 23900; k++)
        for (const double line : {k * step, f + k * step}) { // of its own, or around the tone
          if (std::abs(line) > 23900 || std::abs(line - f) < 2) continue;
          const double power = p.line(line);
          if (power > most) most = power, mostAt = line;
          mean += power;
          around += p.line(line + 10 * p.bin_Hz() * 1.7);
          count++;
        }
      std::printf("compression %.1f, %6.2f Hz: strongest %.1f dBc at %.1f Hz; mean %.2f dB against the noise beside\n", c, step,
                  decibels(most / tone), mostAt, decibels(mean / around));
    }
    std::printf("all noise %.1f dBc\n", decibels((p.total() - tone) / tone));
  }
}

// In front of the words, which cut what lies beyond 1.
double largestInFrontOfTheWords(const sound& voice, int low, int high, double compression) {
  const auto mode = flatSsb(compression);
  mode->setTxFilter(low, high);
  transmitChain chain;
  chain.setTaps(makeBandpass(low, high, 48000, transmitChain::filterTaps, transmitChain::filterTaps));
  chain.keyDown(mode.get());
  int64_t at = 0;
  const auto read = [&](const buff<float>& mic) {
    for (uint64_t i = 0; i < mic.count; i++) mic.data[i] = static_cast<float>(voice(at++));
  };
  constexpr int groups = 10 * 48000 / 126;
  double largest = 0;
  for (int i = 0; i < groups; i++) {
    const cbuff group = chain.produce(mode.get(), false, read);
    for (uint64_t k = 0; k < group.count; k++) largest = std::max(largest, std::abs(group.data[k]));
  }
  return largest;
}

void peaks() {
  std::printf("\nLargest magnitude in front of the words' own limit at 1, of 10 s each\n");
  std::printf(
      "filter, Hz     compression  voice -20 dBFS  voice -6 dBFS  white noise  square 100 Hz  clicks  two pitches in turn\n");
  const auto white = std::make_shared<std::vector<double>>();
  std::mt19937 random(3);
  std::normal_distribution<double> level(0, 0.5);
  for (int i = 0; i < 480'000; i++) white->push_back(std::clamp(level(random), -1.0, 1.0));
  const sound sounds[] = {voiceLikeNoise(0.1),
                          voiceLikeNoise(0.5),
                          [white](int64_t n) { return (*white)[static_cast<std::size_t>(n) % white->size()]; },
                          [](int64_t n) { return n / 240 % 2 ? 1.0 : -1.0; },
                          [](int64_t n) { return n % 480 == 0 ? 1.0 : 0.0; },
                          [high = sineOf(1500, 1), low = sineOf(700, 1)](int64_t n) { return n / 4800 % 2 ? high(n) : low(n); }};
  for (const auto& [low, high] :
       {std::pair{200, 2900}, {100, 3100}, {500, 1500}, {200, 800}, {200, 5000}, {0, 10000}, {300, 2500}})
    for (const double compression : {1.0, 4.0, 20.0, 1e6}) {
      std::printf("%5d to %5d %11.0f", low, high, compression);
      for (const sound& each : sounds) std::printf("  %12.4f", largestInFrontOfTheWords(each, low, high, compression));
      std::printf("\n");
    }
}

void generator() {
  std::printf("\nThe signal generator's two tones, carrier 0.5 and tone 0.5 at 1000.37 Hz below, board with sixteen levels; dBc "
              "to one tone\n");
  std::printf("drive  dBFS each   IM3 low  IM3 high  strongest line beside  all but the tones\n");
  for (const int drive : {255, 254, 253, 252, 251, 250, 200, 180, 150, 100, 50, 10, 1}) {
    transmittingStation station({14'100'000, true, drive});
    const auto mode = keptByCore(std::make_shared<sigGenModDemod>(nullptr));
    mode->ampl1.set(0.5);
    mode->ampl2.set(0.5);
    mode->freq2.set(1000.37);
    station.use(mode, -3000, 3000);
    const auto p = spectrumOf(settledPart(station.send(enough_s)));
    // the baseband's tone stands at -freq2, above the transmit frequency
    const double carrierPower = p.line(0), tone = p.line(1000.37);
    std::printf("%5d  %8.2f  %8.1f  %8.1f  %8.1f  %8.1f    (below: %.1f)\n", drive, decibels(tone),
                decibels(p.line(-1000.37) / tone), decibels(p.line(2000.74) / tone),
                decibels(p.strongestBeside({0, 1000.37}) / tone), decibels((p.total() - carrierPower - tone) / tone),
                decibels(carrierPower));
  }
}

void burst(const char* what, const std::vector<cdouble>& sent, double carrier_Hz) {
  const burstSpectrum p(sent);
  std::printf("%-34s 99 %% within %6.1f Hz; dBc from", what, p.occupied(carrier_Hz));
  for (const double f : {100.0, 200.0, 500.0, 1000.0, 2000.0, 5000.0})
    std::printf("  %+.0f Hz %.1f", f, p.worstFrom(carrier_Hz, f));
  std::printf("\n");
}

// What the speech chain still holds when PTT falls.
void remainder() {
  std::printf("\nDelay of speech, and what is left of it for the next transmission\n");
  transmittingStation station({});
  station.use(flatSsb(1.0));
  const int64_t click = station.nextHeard() + 3000;
  station.speak([click](int64_t n) { return n == click ? 1.0 : 0.0; });
  auto sent = station.send(0.3);
  const auto most = std::max_element(sent.begin(), sent.end(), [](cdouble a, cdouble b) { return std::abs(a) < std::abs(b); });
  const auto delay = static_cast<int>(most - sent.begin()) - 3000;
  std::printf(
      "a click in the microphone's block goes out %d samples later (%.1f ms), and %d (%.1f ms) after the sound card gave it\n",
      delay, delay / 48.0, delay + handMicrophone::lag, (delay + handMicrophone::lag) / 48.0);
  station.speak(sineOf(1000, 0.5));
  station.send(0.5);
  const int64_t silent = station.nextHeard();
  station.speak([silent, sine = sineOf(1000, 0.5)](int64_t n) { return n < silent ? sine(n) : 0.0; });
  sent = station.send(0.3);
  std::size_t first = sent.size(), last = 0;
  for (std::size_t n = 0; n < sent.size(); n++)
    if (std::abs(sent[n]) > 1e-3) {
      first = std::min(first, n);
      last = n;
    }
  std::printf("after a sine of -6 dBFS the next transmission, of silence, begins with it: samples %zu to %zu, peak %.3f\n", first,
              last, largestMagnitude(sent));
}

void envelope() {
  std::printf("\nRise and fall, a burst of 0.2 s (energy spectrum, 0.73 Hz a bin, worst of both sides)\n");
  {
    transmittingStation station({});
    station.use(flatSsb(1.0));
    station.transceiver->tune.set(true);
    burst("tune", station.send(0.2), 0);
    burst("tune, unkeyed 5 ms into the rise", station.send(0.02), 0); // 768 silent samples before; then from 0.45 to 1
  }
  transmittingStation station({});
  station.use(flatSsb(1.0));
  station.speak(sineOf(1500, 0.5));
  auto sent = station.send(0.2);
  burst("SSB, a sine of 1500 Hz", sent, 1500);
}

void clicks(const char* what, const std::vector<cdouble>& sent) {
  const powerSpectrumOf p(sent.data(), sent.size());
  const auto [low, high] = p.occupied();
  const double peak = largestMagnitude(sent);
  std::printf("%-44s peak %.4f  99 %% %6.1f Hz ", what, peak, high - low);
  for (const double f : {200.0, 500.0, 1000.0, 2000.0}) {
    const double mean = std::max(p.between(f - 50, f + 50), p.between(-f - 50, -f + 50));
    const double most = std::max(largestThrough100Hz(sent, f), largestThrough100Hz(sent, -f));
    std::printf("  %+5.0f Hz: %6.1f %6.1f", f, decibels(mean / (peak * peak)), decibels(most * most / (peak * peak)));
  }
  std::printf("\n");
}

// Morse by text and by hand: for each distance the mean power in 100 Hz and the largest level behind a filter of 100 Hz, dB to
// the carrier with the key down, the worse side.
void morse() {
  std::printf("\nMorse; at each distance: mean power in 100 Hz, largest level through a filter of 100 Hz; dB to the carrier with "
              "the key down\n");
  for (const double wpm : {15.0, 25.0, 40.0, 60.0}) {
    transmittingStation station({});
    const auto mode = keptByCore(std::make_shared<cwModDemod>(nullptr));
    mode->wpm.set(wpm);
    mode->swHangTime.set(100000);
    station.use(mode);
    mode->queueText("paris test cq de paris 599 bk test paris test cq de paris 599 bk test paris test cq de paris", 0);
    clicks(("text, " + std::to_string(static_cast<int>(wpm)) + " words a minute").c_str(), station.send(5.2));
  }
  const auto byHand = [](const char* what, double mark_s, double space_s) {
    transmittingStation station({});
    const auto mode = keptByCore(std::make_shared<cwModDemod>(nullptr));
    mode->swHangTime.set(100000);
    station.use(mode);
    station.board->clearRecords();
    station.key(true);
    station.run(0.03);
    for (int i = 0; i < 40; i++) {
      mode->keyDown();
      station.run(mark_s);
      mode->keyUp();
      station.run(space_s);
    }
    station.key(false);
    station.run(0.05);
    clicks(what, station.onAir());
  };
  byHand("straight key, marks of 63 ms", 0.063, 0.063);
  byHand("straight key, marks of 21 ms", 0.021, 0.021);
  for (const bool tap : {false, true}) {
    transmittingStation station({});
    const auto mode = keptByCore(std::make_shared<cwModDemod>(nullptr));
    mode->swHangTime.set(100000);
    station.use(mode);
    station.board->clearRecords();
    if (tap) {
      station.key(true);
      station.run(0.1);
    }
    mode->keyDown(); // raises PTT where it isn't up: the rise of the transmission and the key's edge at once
    if (!tap) station.run(0.3);
    mode->keyUp();
    station.run(0.1);
    station.key(false);
    station.run(0.05);
    std::vector<cdouble> sent = station.onAir();
    sent.resize(70000);
    clicks(tap ? "a tap between two groups of 126 samples" : "straight key raises PTT itself", sent);
  }
}

// Real audio in bins of 0.73 Hz: its own lines to the one at `f`, dB.
void printHarmonics(const std::vector<double>& audio, double f) {
  std::vector<cdouble> z;
  double mean = 0;
  for (const double a : audio) mean += a / static_cast<double>(audio.size());
  for (const double a : audio) z.emplace_back(a - mean);
  const auto p = spectrumOf(z);
  for (int h = 2; h <= 5; h++) std::printf("  %d: %6.1f", h, decibels(p.line(h * f) / p.line(f)));
}

void am() {
  std::printf("\nAM, filter -3000 to 3000 Hz, a sine of 1000.37 Hz: dBFS; harmonics of the envelope, dB to the tone\n");
  for (const double level : {-40.0, -20.0, -12.0, -6.0, 0.0}) {
    transmittingStation station({});
    station.use(keptByCore(std::make_shared<amModDemod>(nullptr)), -3000, 3000);
    station.speak(sineOf(1000.37, fromDecibels(level)));
    const auto sent = settledPart(station.send(enough_s));
    const auto p = spectrumOf(sent);
    std::vector<double> envelope;
    for (const cdouble& z : sent) envelope.push_back(std::abs(z));
    std::printf("%4.0f: peak %.3f, carrier %.2f, sides %.2f %.2f, strongest other %.1f dBc;", level, largestMagnitude(sent),
                decibels(p.line(0)), decibels(p.line(-1000.37)), decibels(p.line(1000.37)),
                decibels(p.strongestBeside({0, 1000.37, -1000.37}) / p.line(0)));
    printHarmonics(envelope, 1000.37);
    std::printf("\n");
  }
  for (const double c : {1.0, 4.0, 20.0}) {
    transmittingStation station({});
    const auto mode = keptByCore(std::make_shared<amModDemod>(nullptr));
    mode->compression.set(c);
    station.use(mode, -3000, 3000);
    station.speak(voiceLikeNoise(fromDecibels(-20)));
    const auto sent = settledPart(station.send(8.2));
    const auto p = spectrumOf(sent, 8192);
    const auto [low, high] = p.occupied();
    std::printf("voice, compression %4.1f: peak %.3f, 99 %% %.0f to %.0f Hz, beyond +-3200 Hz %.1f dB, in 500 Hz at 4 / 6 / 10 "
                "kHz %.1f %.1f %.1f dB\n",
                c, largestMagnitude(sent), low, high, decibels((p.between(-24000, -3200) + p.between(3200, 23990)) / p.total()),
                decibels(p.between(3750, 4250) / p.total()), decibels(p.between(5750, 6250) / p.total()),
                decibels(p.between(9750, 10250) / p.total()));
  }
}

void fm() {
  std::printf("\nFM, filter -10 to 10 kHz, a sine of 1000.37 Hz: peak deviation; harmonics of the frequency, dB to the tone\n");
  for (const double deviation : {2500.0, 5000.0})
    for (const double level : {-40.0, -20.0, 0.0}) {
      transmittingStation station({});
      const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
      mode->deviation.set(deviation);
      station.use(mode, -10000, 10000);
      station.speak(sineOf(1000.37, fromDecibels(level)));
      const auto sent = settledPart(station.send(enough_s));
      const auto f = frequenciesOf(sent);
      std::printf("%5.0f Hz, %4.0f dBFS: magnitude %.4f, deviation %.1f Hz;", deviation, level, largestMagnitude(sent),
                  *std::max_element(f.begin(), f.end()));
      printHarmonics(f, 1000.37);
      std::printf("\n");
    }
  for (const double deviation : {2500.0, 5000.0})
    for (const double tone : {0.0, 88.5}) {
      transmittingStation station({});
      const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
      mode->deviation.set(deviation);
      mode->compression.set(4);
      mode->CTCSS.set(tone);
      station.use(mode, -10000, 10000);
      station.speak(voiceLikeNoise(fromDecibels(-20)));
      const auto sent = settledPart(station.send(8.2));
      const auto f = frequenciesOf(sent);
      const auto p = spectrumOf(sent, 8192);
      const auto [low, high] = p.occupied();
      std::vector<cdouble> z;
      for (const double a : f) z.emplace_back(a);
      std::printf("voice %4.0f Hz, tone %4.1f: deviation %.0f Hz, 99 %% %.0f to %.0f Hz, in 500 Hz at 6 / 8 / 12 kHz %.1f %.1f "
                  "%.1f dB, tone %.1f Hz\n",
                  deviation, tone, *std::max_element(f.begin(), f.end()), low, high, decibels(p.between(5750, 6250) / p.total()),
                  decibels(p.between(7750, 8250) / p.total()), decibels(p.between(11750, 12250) / p.total()),
                  2 * std::sqrt(spectrumOf(z).line(88.5)));
    }
}

struct table {
  const char* name;
  void (*print)();
};
constexpr table tables[] = {{"imd", imd},
                            {"sideband", sideband},
                            {"carrier", carrier},
                            {"speech", speech},
                            {"boundaries", boundaries},
                            {"peaks", peaks},
                            {"generator", generator},
                            {"am", am},
                            {"fm", fm},
                            {"morse", morse},
                            {"remainder", remainder},
                            {"envelope", envelope}};

} // namespace

int main(int argc, char** argv) {
  openLog("/dev/null", 0);
  for (const table& each : tables) {
    bool wanted = argc < 2;
    for (int i = 1; i < argc; i++) wanted = wanted || std::strcmp(argv[i], each.name) == 0;
    if (wanted) each.print();
  }
}
