// The sample clock of a simulated radio, and when its datagrams are due.
#pragma once
#include <cstdint>

namespace larch::sim {

// Two times: the radio's own (samples over nominal rate) and true time, in which the radio's clock runs (1 + error) fast.
// Counts samples, so that it never drifts by rounding. Pure arithmetic: reads no clock itself.
class streamClock {
 public:
  explicit streamClock(double error_ppm = 0) { setError(error_ppm); }

  void setError(double error_ppm); // from here on; time goes on without a step
  void setRate(int rate_Hz);       // from here on
  void take(uint64_t count) { samples += count; }
  // Moves true time on without samples: the radio stood still. Never backwards.
  void skipTo(double trueTime_s);

  double trueTime_s() const;  // of the next sample
  double radioTime_s() const; // of the next sample, as the radio counts seconds
  double trueRate_Hz() const { return rate * speed; }
  double speedFactor() const { return speed; } // 1 + error
  // How many groups of groupSamples are complete when true time is t.
  uint64_t groupsDue(double trueTime_s, uint64_t groupSamples) const;

 private:
  // a time that was computed from a sample count must give that count back
  static constexpr double timingSlack_samples = 1e-3;
  void rebase();
  double speed = 1;
  double rate = 48000;
  double baseTrue_s = 0, baseRadio_s = 0;
  uint64_t samples = 0; // since the base
};

} // namespace larch::sim
