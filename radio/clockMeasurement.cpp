#include "radio/clockMeasurement.h"

namespace larch {

movingMean::movingMean() : ring_(new double[length]) { restart(); }

void movingMean::restart() {
  ring_[0] = sum_ = 1.0;
  next_ = count_ = 1;
}

void movingMean::add(double value) {
  if (count_ == length)
    sum_ -= ring_[next_];
  else
    count_++;
  ring_[next_] = value;
  sum_ += value;
  next_ = next_ + 1 == length ? 0 : next_ + 1;
}

void clockMeasurement::restart() {
  packets_ = 0;
  measured_ = nominal_ = 0;
  first_.restart();
  second_.restart();
}

void clockMeasurement::add(double measured, double nominal) {
  constexpr double shortest = 1.0 / 300; // seconds
  if (packets_ < ignoredPackets) {
    packets_++;
    return;
  }
  measured_ += measured;
  nominal_ += nominal;
  if (nominal_ < shortest) return;
  first_.add(measured_ / nominal_);
  measured_ = nominal_ = 0;
  if (first_.full()) second_.add(first_.mean());
}

std::optional<double> clockMeasurement::correction(int64_t time) {
  constexpr double least = 0.99999, greatest = 1.00001;
  constexpr int64_t minute = 600'000'000, minutesInAnHour = 60;
  if (!second_.full()) return {};
  const auto evenMinute = static_cast<int>(time / minute % minutesInAnHour / 2);
  if (evenMinute == lastEvenMinute_) return {};
  lastEvenMinute_ = evenMinute;
  const double m = second_.mean();
  if (!(least < m && m < greatest)) return {};
  return m;
}

} // namespace larch
