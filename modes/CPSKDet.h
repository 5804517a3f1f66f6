// One PSK channel from audio to text: mixer, decimation, matched filters, AGC, AFC, symbol clock, decoders, Varicode, squelch.
#pragma once
#include "modes/CCalcIMD.h"
#include "modes/pskAfc.h"
#include "modes/pskSignalQuality.h"
#include "modes/pskSymbolClock.h"
#include "modes/varicode.h"
#include "modes/viterbi.h"
#include <cmath>

namespace larch {

// Fed with real samples at 8000 per second. Its whole state is here, the same at every rate: 16 samples per symbol behind the
// decimation. One thread at a time; copies are independent detectors.
class CPSKDet {
 public:
  static constexpr int32_t maxCharacters = 10; // of a call; further ones are lost without notice
  static constexpr double largestSample = 1e9; // far above any signal, and its powers stay finite

  CPSKDet() = default; // BPSK at 31.25 baud and 1500 Hz; the reverse Varicode table is still empty
  virtual ~CPSKDet() = default;

  // Bit values 8 and 16 of a mode tell the speed, the rest is the detectMode.
  void setMode(int32_t mode);
  void setRxFrequency(int32_t hertz); // see pskAfc; not below 0 and below 4000 to hear something
  void reset();                       // as after an idle signal; frequency, rates and limits of the AFC stay

  // Characters to `out`, which has room for maxCharacters; returns how many. A sample that isn't finite or is above 1e9 in
  // magnitude counts as 0. A call without samples does nothing. rt.
  int32_t processBlock(const double* samples, int32_t count, char* out);

  // For a form that runs the mixers and filters of many detectors at once: input samples to one sample behind the decimation;
  // the rest of the work on such a sample, when freqFilterOut and bitFilterOut stand there as the filters gave them; returns a
  // character or 0.
  int32_t stride() const { return rate125 ? 4 : rate63 ? 8 : 16; }
  uint8_t processFiltered(iqSample decimated);
  static double validSample(double sample) { return std::abs(sample) <= largestSample ? sample : 0; }

  bool rate63 = false, rate125 = false;
  varicodeReverse varicodeTable{};
  int32_t detectMode = detectBpsk;
  int32_t sampleIndex = 0; // of the input, modulo 16
  double ncoPhase = 0;     // radians
  double agcLevel = 0;     // amplitude behind the frequency filter
  iqRing<decimationTaps> ring1, ring2;
  iqRing<matchedTaps> ring3;
  iqSample freqFilterOut, bitFilterOut; // behind the AGC
  iqSample previousIQ[2];               // the last symbol and the one before it
  int32_t iqIndex = 0;
  std::array<int32_t, 16> iqDisplay{}; // the last eight symbols as points on a screen, kept for inspection
  varicodeReader reader;
  pskAfc afc;
  pskSymbolClock clock;
  pskSignalQuality quality;
  viterbiState trellis;
  CCalcIMD imd;

 private:
  void mix(double sample);
  bool decimate(iqSample& out);
  uint8_t processDecimated(iqSample s);
  void scaleByAgc();
  uint8_t decodeSymbol(iqSample s);
  void display(iqSample turn);
};

} // namespace larch
