// A station that answers what is transmitted to it.
#pragma once
#include <atomic>
#include <memory>
#include <string>
#include "sim/signalSource.h"

namespace larch::sim {

// Says its words once, wait_s after a transmission near its frequency has ended. Another end before it begins puts it off;
// while it speaks it hears nothing. Otherwise it calls, if it has words for that.
class answeringSource : public signalSource {
 public:
  static constexpr double nearby_Hz = 300;

  struct calling {
    std::shared_ptr<const signalSource> words; // null: silence; of the answer's frequency and level
    double quiet_s = 0;                        // after an answer
  };

  // words: from time 0, over and over every length_s; they give frequency and level, too
  answeringSource(std::shared_ptr<const signalSource> words, double length_s, double wait_s, std::string call,
                  calling calls);
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override { return words->occupied(); }
  std::string describe() const override;
  void transmissionEnded(const endedTransmission& ended) const override;

 private:
  envelopeShape answer(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const;
  bool attends(double time_s) const; // somebody has called and has or gets the answer

  std::shared_ptr<const signalSource> words;
  double length_s, wait_s;
  std::string call;
  calling calls;
  // Of the answer that was begun last. Relaxed: a reader that comes late hears it a block later.
  mutable std::atomic<double> start_s{-1e9};
};

} // namespace larch::sim
