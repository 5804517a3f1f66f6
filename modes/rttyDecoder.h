// Radioteletype to text: 45.45 baud, two tones 170 Hz apart.
#pragma once
#include "modes/rttyToneSum.h"
#include <functional>
#include <optional>

namespace larch {

// What one character period of 165 ms gave.
struct rttyPeriod {
  std::array<double, 3> metrics{}, lastMetrics{}; // of the phase taken and of the one left, newest first; when moved
  bool moved = false;
  int32_t drift = 0; // eighths of a bit between the two
  bool hasCharacter = false;
  char character = 0;
};

// Doesn't wait for a start bit: it tests every one of 60 possible phases of a character (eighths of a bit) and takes the best one
// of each period. 48000 samples/s, of which it looks at every eighth one of a chunk, from the first: the channel filter keeps
// away what would fold. Runs on the transceiver's group; rt as far as the listener is.
class rttyDecoder {
 public:
  static constexpr uint64_t lookSpacing = 8, traceSpacing = 256; // samples
  static constexpr int32_t shift = 170;                          // Hz

  struct listener {
    std::function<void(const rttyPeriod&)> period; // the end of each
    std::function<void(float)> trace;              // space tone's level less the mark tone's, 187.5 times a second
  };

  explicit rttyDecoder(listener around) : around_(std::move(around)) {}

  // frequency: Hz above the receiver's centre where the mark tone stands; the space tone stands 170 Hz above it.
  void process(const std::complex<double>* samples, uint64_t count, int32_t frequency);

 private:
  static constexpr uint32_t historyLength = 128; // eighths of a bit
  static constexpr int32_t phaseCount = 60;      // eighths of a bit in 7.5 bits
  static constexpr double noMetric = -1e15;

  struct phaseRecord {
    std::array<double, 3> metrics{}; // newest first
    uint8_t code = 0;
    double sum() const { return metrics[0] + metrics[1] + metrics[2]; }
  };

  void eighth();
  void judge();
  void note(double metric, uint8_t code);
  void endPeriod();
  void settlePhase(rttyPeriod& period);
  void read(rttyPeriod& period);
  phaseRecord& phase(int32_t index) { return phases_[static_cast<size_t>(index)]; }

  listener around_;
  rttyToneSum space_, mark_;
  int32_t subSampleTimer_ = 0; // looks until the next eighth of a bit
  bool timerToggle_ = false;
  std::array<double, historyLength> history_{}; // mark less space
  uint32_t subSampleIndex_ = 0;
  std::array<phaseRecord, phaseCount> phases_{};
  int32_t phaseIndex_ = 0;
  double bestMetric_ = 0;
  uint8_t bestCode_ = 0;
  int32_t bestPhase_ = 0, lastBestPhase_ = 0;
  bool shifted_ = false; // to figures
};

} // namespace larch
