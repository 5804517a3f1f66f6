// Speech or a recording, made ready for a modulator.
#pragma once
#include <complex>
#include <vector>
#include "sim/sampledEnvelope.h"
#include "sim/wavFile.h"

namespace larch::sim {

struct audioBand {
  double low_Hz = 300, high_Hz = 3000;
  double slope_Hz = 150; // width of the filter's edges, to -6 dB on them
  double emphasis_s = 0; // time constant of the rise of 6 dB an octave; 0: none
  bool operator==(const audioBand&) const = default;
};

// The first channel, limited to the band and to what the file's rate can carry (0.35 of it), scaled to a peak of 1, with a pause
// behind it. In both forms imaginary parts are 0.
sampledEnvelope makeProgramme(const wavData& audio, const audioBand& band, double pause_s);

} // namespace larch::sim
