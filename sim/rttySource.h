// A radioteletype station that sends its text over and over.
#pragma once
#include <string>
#include <vector>
#include "sim/signalSource.h"

namespace larch::sim {

// Frequency shift keying without a break in phase. frequency: of the mark, which is the higher of the two tones; the space lies
// shift_Hz below it, with `reverse` above it. A character: start bit (space), five bits, stop (mark) of stopBits. A
// transmission: lead_s of mark, carriage return and line feed, the text, lead_s of mark, with edges of ramp_s at both ends.
class rttySource : public signalSource {
 public:
  static constexpr double lead_s = 0.5, ramp_s = 0.005;
  struct sending {
    std::string text;
    double shift_Hz = 170;
    double baud = 45.45;
    double stopBits = 1.5;
    bool reverse = false;
    double start_s = 0; // of the first transmission
    double pause_s = 3; // between two
  };
  rttySource(double frequency_Hz, double level_dBFS, sending what);
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override; // four times the baud rate around the two tones
  std::string describe() const override;
  double period_s() const { return period; }

 private:
  struct run {
    double start_s;
    bool space;
    double cycles; // phase of the envelope at its start
  };
  void addRun(double length_s, bool space);
  const run* runAt(double time_s) const; // nullptr: the pause
  double endOf(const run* r) const { return r == nullptr ? period : r + 1 < runs.data() + runs.size() ? r[1].start_s : end; }
  double edge(double time_s) const;

  sending sent;
  double spaceOffset_Hz;
  std::vector<run> runs;
  double end = 0; // of the last run
  double period = 0;
};

} // namespace larch::sim
