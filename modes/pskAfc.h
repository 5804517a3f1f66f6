// Automatic frequency control of a PSK detector: a discriminator at sample rate and a phase error at symbol rate steer the
// oscillator.
#pragma once
#include "modes/pskFilters.h"
#include <cstdint>

namespace larch {

constexpr int32_t pskSampleRate = 8000;

// Frequencies are in radians per input sample.
struct pskAfc {
  bool fastAfc = false;     // wide and fast; no detector of the modem asks for it
  bool afcAcquire = false;  // after a retune: the discriminator alone steers
  int32_t acquireCount = 0; // blocks of acquisition left
  int32_t afcOn = 1;        // 0: the frequency stays
  int32_t rxFrequency = 1500;
  double freqError = 0;    // the correction in force
  double nominalIncrement; // the oscillator's frequency without it
  double afcLimit;         // reach to each side
  double afcHigh, afcLow;
  double afcSpeed = 100.0;  // length of the phase error's filter, symbols
  double afcFiltered = 0;   // error at symbol rate
  double discriminator = 0; // error at the rate of the matched filters
  iqSample previousFreqOut[2];

  pskAfc();

  double increment() const { return nominalIncrement + freqError; }

  // Tunes anew and begins an acquisition; false, and nothing, at the frequency that it already has. Any value is endured.
  bool setRxFrequency(int32_t hertz);
  void beginBlock();                     // counts the acquisition down; its end centres the range on what it found
  void step(iqSample out);               // an output of the frequency filter, scaled to about 1
  void addPhaseError(double phaseError); // radians, once a symbol
  void endBlock();                       // brings rxFrequency up to date

 private:
  void centreRange();
  void follow(double error);
  void followFast(double error);
  void followPhase(double slow, double quick);
  void limit();
};

} // namespace larch
