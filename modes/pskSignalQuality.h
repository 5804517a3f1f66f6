// Judges a PSK signal by the angles of its symbols: squelch, and the phase error that steers the AFC.
#pragma once
#include <cstdint>

namespace larch {

enum pskDetection : int32_t { detectBpsk = 0, detectQpsk = 1, detectReversedQpsk = 2 };

// A symbol's angle is pi / 2 for a reversal (side A) and 3 pi / 2 for none (side B); between them, in QPSK, lie the quarter
// turns.
struct pskSignalQuality {
  bool imdValid = false; // a run of reversals: the idle signal, on which intermodulation can be measured
  bool squelchOpen = false;
  int32_t squelchSpeed = 75; // length of the squelch's average, symbols
  int32_t quality = 10;      // 100 less the squelch level; 0 without a signal
  int32_t squelchThreshold = 50;
  int32_t goodCount = 0, badCount = 0; // runs of symbols on side A, on side B
  double squelchLevel = 90.0;          // mean error of the angles, scaled
  int32_t positiveRun = 0, negativeRun = 0;
  double phaseError = 0; // radians; stays as it is at a quarter turn

  // One symbol. agcLevel: amplitude at the AGC; 10 or below is no signal. rt.
  void calcQuality(double angle, int32_t detectMode, double agcLevel);
  void reset();

 private:
  void average(double error, double scale);
  void countSigns(double error);
};

} // namespace larch
