#include "sim/streamClock.h"

namespace larch::sim {

double streamClock::trueTime_s() const { return baseTrue_s + static_cast<double>(samples) / (rate * speed); }
double streamClock::radioTime_s() const { return baseRadio_s + static_cast<double>(samples) / rate; }

void streamClock::rebase() {
  const double t = trueTime_s(), r = radioTime_s();
  baseTrue_s = t;
  baseRadio_s = r;
  samples = 0;
}

void streamClock::setError(double error_ppm) {
  rebase();
  speed = 1 + error_ppm * 1e-6;
}

void streamClock::setRate(int rate_Hz) {
  if (static_cast<double>(rate_Hz) == rate) return;
  rebase();
  rate = rate_Hz;
}

void streamClock::skipTo(double trueTime) {
  rebase();
  if (trueTime <= baseTrue_s) return;
  baseRadio_s += (trueTime - baseTrue_s) * speed;
  baseTrue_s = trueTime;
}

uint64_t streamClock::groupsDue(double trueTime, uint64_t groupSamples) const {
  const double complete = (trueTime - baseTrue_s) * rate * speed + timingSlack_samples;
  if (!(complete > 0)) return 0;
  const auto whole = static_cast<uint64_t>(complete);
  return whole <= samples ? 0 : (whole - samples) / groupSamples;
}

} // namespace larch::sim
