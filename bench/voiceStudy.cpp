// What AM and FM do to a tone over the simulated radio, from its datagrams to the audio: distortion and noise against modulation
// depth, deviation and level, and the own transmitter heard by the own receiver. voiceStudy [am | fm | own ...]
#include "runtime/log.h"
#include "tests/radio/transmitQualityTesting.h"
#include "tests/radio/voiceReceiver.h"
#include <cstdio>
#include <cstring>

using namespace larch;
using namespace larch::test;

namespace {

constexpr double noiseless = -400, noise_dBFS = -150, strong_dBFS = -50; // noise: in 1 Hz
constexpr double f = 1000.37, short_s = 0.8, long_s = 4;                 // Hz; for distortion, for noise
constexpr uint32_t fine = 65536;                                         // bins: what is taken out with a line is narrow

using amReceiver = voiceReceiver<amModDemod>;
using fmReceiver = voiceReceiver<fmModDemod>;

void print(const toneQuality& q) { std::printf("  THD %6.1f dB  SINAD %5.1f dB  SNR %5.1f dB", q.thd_dB, q.sinad_dB, q.snr_dB); }

void amDistortion() {
  std::printf("\nAM, a station without noise; filter +-4500 Hz\n");
  amReceiver receiver(48000, 4500);
  for (const double tone : {300.37, f, 3000.37, 4000.37})
    for (const double depth : {0.1, 0.3, 0.5, 0.8, 0.95, 1.0}) {
      const auto q = qualityOf(
          receiver.listenTo(std::make_shared<toneAmSource>(amReceiver::vfo, strong_dBFS, depth, tone), noiseless, short_s), tone);
      std::printf("%6.0f Hz, depth %3.0f %%:", tone, 100 * depth);
      print(q);
      std::printf("\n");
    }
}

void amNoise() {
  std::printf("\nAM in noise, filter +-4500 Hz, tone of 1 kHz: SNR measured (by the formula of a product detector)\n  C/N   ");
  constexpr double filter = 4500, depths[] = {0.3, 0.5, 0.8, 1.0};
  for (const double depth : depths) std::printf("  depth %3.0f %%   ", 100 * depth);
  std::printf("\n");
  amReceiver receiver(48000, static_cast<int32_t>(filter));
  for (const double cn_dB : {60, 50, 40, 30, 20, 15, 10, 5, 0}) {
    std::printf("%3.0f dB  ", cn_dB);
    for (const double depth : depths) {
      const double level = noise_dBFS + decibels(2 * filter) + cn_dB;
      const auto q = qualityOf(
          receiver.listenTo(std::make_shared<toneAmSource>(amReceiver::vfo, level, depth, f), noise_dBFS, long_s), f, fine);
      std::printf("  %5.1f (%5.1f) ", q.snr_dB, cn_dB + decibels(depth * depth));
    }
    std::printf("\n");
  }
}

struct fmPlan {
  int32_t rate, filter;
  double deviation;
};
constexpr fmPlan narrow{48000, 5500, 2500}, middle{48000, 8000, 5000}, wide{384000, 100'000, 75000},
    narrowestWide{384000, 37'000, 12000};

std::unique_ptr<fmReceiver> tuned(const fmPlan& plan, bool gainControl = false) {
  return std::make_unique<fmReceiver>(
      plan.rate, plan.filter, [&](fmModDemod& m) { m.deviation.set(plan.deviation); }, gainControl);
}

void fmDistortion() {
  std::printf("\nFM, a station without noise\n");
  for (const fmPlan& plan : {narrow, middle, narrowestWide, wide}) {
    const auto receiver = tuned(plan);
    for (const double tone : {400.37, 750.0, f, 2000.37, 2900.37})
      for (const double share : {0.1, 0.5, 1.0}) {
        const auto q = qualityOf(
            receiver->listenTo(toneFm(fmReceiver::vfo, strong_dBFS, share * plan.deviation, tone), noiseless, short_s), tone);
        std::printf("deviation %5.0f of %5.0f Hz, filter +-%6d Hz, tone %4.0f Hz:", share * plan.deviation, plan.deviation,
                    plan.filter, tone);
        print(q);
        std::printf("\n");
      }
  }
  std::printf("\nfilter against deviation, tone of 1 kHz and of 2.9 kHz at 2500 Hz\n");
  for (const int32_t filter : {3000, 4000, 5500, 7500, 10000}) {
    const auto receiver = tuned({48000, filter, 2500});
    std::printf("+-%5d Hz:", filter);
    for (const double tone : {f, 2900.0})
      print(qualityOf(receiver->listenTo(toneFm(fmReceiver::vfo, strong_dBFS, 2500, tone), noiseless, short_s), tone));
    std::printf("\n");
  }
  std::printf("\nbeside the frequency, 2500 Hz, tone of 1 kHz\n");
  const auto receiver = tuned(narrow);
  for (const double off : {0.0, 200.0, 500.0, 1000.0, 2000.0}) {
    std::printf("%5.0f Hz:", off);
    print(qualityOf(receiver->listenTo(toneFm(fmReceiver::vfo + off, strong_dBFS, 2500, f), noiseless, short_s), f));
    std::printf("\n");
  }
  std::printf("\nwith a CTCSS tone of 88.5 Hz, of 254.1 Hz (15 %% of 2500 Hz)\n");
  for (const double ctcss : {88.5, 254.1}) {
    const auto audio = receiver->listenTo(toneFm(fmReceiver::vfo, strong_dBFS, 2500, f, ctcss), noiseless, short_s);
    const auto under = qualityOf(audio, ctcss), q = qualityOf(audio, f);
    print(q);
    std::printf("  tone %.1f dB to the speech's\n", 2 * decibels(under.amplitude / q.amplitude));
  }
}

void fmNoise() {
  constexpr double ratios_dB[] = {60, 50, 40, 30, 20, 15, 12, 10, 8, 6, 3, 0};
  std::printf("\nFM in noise at full deviation, by C/N in the filter: SNR measured (by the formula above the threshold)\n");
  for (const fmPlan& plan : {narrow, middle, narrowestWide, wide}) {
    const double tone = plan.rate > 48000 ? 750 : f; // wide: products of the blocks fall on the tone's harmonics
    const double band = fmNoiseBand(tone);
    std::printf("%5.0f Hz, +-%6d Hz:", plan.deviation, plan.filter);
    const auto receiver = tuned(plan);
    for (const double cn_dB : ratios_dB) {
      const double density_dB = cn_dB + decibels(2.0 * plan.filter); // carrier to the noise in 1 Hz
      const auto station = toneFm(fmReceiver::vfo, noise_dBFS + density_dB, plan.deviation, tone);
      const auto q = qualityOf(receiver->listenTo(station, noise_dBFS, long_s), tone, fine);
      std::printf("  %.0f dB %.1f (%.1f)", cn_dB, q.snr_dB, density_dB + decibels(plan.deviation * plan.deviation / 2 / band));
    }
    std::printf("\n");
  }
}

// With the gain control that every receiver begins with.
void gainControl() {
  std::printf("\nwith gain control, no noise, tone of 1 kHz\n");
  for (const double level : {-50.0, -90.0, -120.0}) {
    {
      amReceiver receiver(48000, 4500, {}, true);
      receiver.listenTo(std::make_shared<toneAmSource>(amReceiver::vfo, level, 0.8, f), noiseless, 5);
      const auto q = qualityOf(receiver.hear(short_s), f);
      std::printf("AM %4.0f dBFS: level %.4f", level, q.amplitude);
      print(q);
    }
    const auto receiver = tuned(narrow, true);
    receiver->listenTo(toneFm(fmReceiver::vfo, level, 2500, f), noiseless, 5);
    const auto q = qualityOf(receiver->hear(short_s), f);
    std::printf("   FM: level %.4f", q.amplitude);
    print(q);
    std::printf("\n");
  }
}

std::vector<cdouble> transmission(const std::shared_ptr<modDemod>& mode, double tone, double level_dB, int32_t filter) {
  transmittingStation station({});
  station.use(mode, -filter, filter);
  station.speak(sineOf(tone, fromDecibels(level_dB)));
  auto sent = settledPart(station.send(2));
  sent.resize(sent.size() / 480 * 480); // whole periods of 100 Hz
  return sent;
}

// The own transmitter, recorded, on the band.
void own() {
  constexpr double tone = 1000, recorded_dBFS = -40;
  std::printf("\nown AM transmitter heard by the own receiver; tone of 1 kHz into the microphone\n");
  for (const double level_dB : {-30.0, -20.0, -12.0, -6.0, 0.0}) {
    const auto sent = transmission(keptByCore(std::make_shared<amModDemod>(nullptr)), tone, level_dB, 4000);
    amReceiver receiver(48000, 4500);
    std::printf("%4.0f dBFS:", level_dB);
    print(qualityOf(receiver.listenTo(sentBefore(amReceiver::vfo, recorded_dBFS, sent), noiseless, short_s), tone));
    std::printf("\n");
  }
  std::printf("\nown FM transmitter heard by the own receiver, transmit filter the deviation and so much more\n");
  for (const double deviation : {2500.0, 5000.0})
    for (const double level_dB : {-40.0, -20.0, -6.0, 0.0}) {
      std::printf("%5.0f Hz, %4.0f dBFS:", deviation, level_dB);
      for (const int32_t more : {3000, 9000}) {
        const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
        mode->deviation.set(deviation);
        const auto sent = transmission(mode, tone, level_dB, static_cast<int32_t>(deviation) + more);
        double least = 1, most = 0;
        for (const cdouble& z : sent) {
          least = std::min(least, std::abs(z));
          most = std::max(most, std::abs(z));
        }
        const auto receiver = tuned({48000, static_cast<int32_t>(deviation) + 3000, deviation});
        std::printf("  +%d: envelope %.3f to %.3f", more, least, most);
        print(qualityOf(receiver->listenTo(sentBefore(fmReceiver::vfo, recorded_dBFS, sent), noiseless, short_s), tone));
      }
      std::printf("\n");
    }
  std::printf("\nenvelope of a tone of 2.9 kHz in the clipper against the transmit filter\n");
  for (const double deviation : {2500.0, 5000.0, 12000.0})
    for (const int32_t more : {3000, 6000, 9000, 12000}) {
      const auto mode = keptByCore(std::make_shared<fmModDemod>(nullptr));
      mode->deviation.set(deviation);
      const auto sent = transmission(mode, 2900, 0, std::min(24000, static_cast<int32_t>(deviation) + more));
      double least = 1;
      for (const cdouble& z : sent) least = std::min(least, std::abs(z));
      std::printf("%5.0f Hz and %5d: %.3f to %.3f\n", deviation, more, least, largestMagnitude(sent));
    }
}

struct table {
  const char* name;
  void (*print)();
};
constexpr table tables[] = {{"amDistortion", amDistortion}, {"amNoise", amNoise},  {"fmDistortion", fmDistortion},
                            {"fmNoise", fmNoise},           {"gain", gainControl}, {"own", own}};

} // namespace

int main(int argc, char** argv) {
  openLog("/dev/null", 0);
  for (const table& each : tables) {
    bool wanted = argc < 2;
    for (int i = 1; i < argc; i++) wanted = wanted || std::strcmp(argv[i], each.name) == 0;
    if (wanted) each.print();
  }
}
