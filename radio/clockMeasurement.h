// How fast the radio's clock runs against ours, from the arrival times of its datagrams: two moving averages of ten minutes each.
#pragma once
#include <cstdint>
#include <memory>
#include <optional>

namespace larch {

// A moving average over the last `length` values; it starts with one entry of 1.0.
class movingMean {
 public:
  static constexpr int length = 180000; // 300 values a second for ten minutes

  movingMean();
  void add(double value);
  void restart();
  bool full() const { return count_ == length; }
  double mean() const { return sum_ / count_; }

 private:
  std::unique_ptr<double[]> ring_; // written before it is read: no page is touched before its time
  int next_ = 0, count_ = 0;
  double sum_ = 0;
};

// One owner, one thread. rt: nothing is allocated after the constructor.
class clockMeasurement {
 public:
  static constexpr int ignoredPackets = 3000; // at the start, while the stream settles

  // One packet in sequence: the time since the packet before as we measured it, and as the radio's sample count has it, seconds.
  void add(double measured, double nominal);
  // The rate or the format of the stream has changed: everything but the memory of correction() starts anew.
  void restart();
  // Once in two minutes at most, at a change of the even minute of `time` (100 ns units since 1970) and only when both averages
  // are full: their mean, when it is within 10 ppm of 1.
  std::optional<double> correction(int64_t time);

  bool full() const { return second_.full(); }
  double mean() const { return second_.mean(); }

 private:
  int packets_ = 0; // of the ignored ones
  double measured_ = 0, nominal_ = 0;
  movingMean first_, second_;
  int lastEvenMinute_ = -1;
};

} // namespace larch
