// A PSK31, PSK63 or PSK125 station, two-phase or four-phase, that sends its text over and over.
#pragma once
#include <string>
#include <vector>
#include "sim/signalSource.h"

namespace larch::sim {

// From one symbol's phase to the next the envelope moves along half a cosine, straight through 0 at a reversal; a symbol that
// keeps the phase is a steady carrier. A transmission: the carrier rises over a symbol, preambleSymbols of idle, the text,
// with four phases flushSymbols of idle to empty the receiver's decoder, tailSymbols of steady carrier, a symbol to fall.
// level: of the steady carrier, which is the peak.
class pskSource : public signalSource {
 public:
  static constexpr size_t preambleSymbols = 32, flushSymbols = 32, tailSymbols = 32;
  struct sending {
    std::string text;
    double baud = 31.25;
    bool fourPhases = false;
    double start_s = 0;       // of the first transmission
    double pause_s = 3;       // between two
    double rateError_ppm = 0; // the sender's symbol clock is fast by so much
    double drift_Hz_s = 0;    // each transmission begins on the frequency and moves
  };
  pskSource(double frequency_Hz, double level_dBFS, sending what);
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override; // four times the baud rate either side
  std::string describe() const override;
  double period_s() const { return period; }
  double symbol_s() const { return symbol; }

 private:
  size_t symbolAt(double time_s) const;
  void fill(double within_s, double step_s, std::complex<double>* out, size_t count) const;
  sending sent;
  double symbol;                            // seconds
  std::vector<std::complex<double>> points; // the envelope at the beginning of each symbol, and 0 at the end
  double period;
};

// "bpsk31" to "qpsk125" into baud and fourPhases; false: no such mode.
bool parsePskMode(const std::string& mode, pskSource::sending& what);

} // namespace larch::sim
