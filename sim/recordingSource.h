// A recorded piece of band, over and over.
#pragma once
#include "sim/sampledEnvelope.h"
#include "sim/signalSource.h"
#include "sim/wavFile.h"

namespace larch::sim {

// Two-channel recording, I and Q, of the band around `frequency`; full scale of the file is `level`. A positive frequency in
// the file lies above the centre, or below it when the file is mirrored. A receiver of the same rate and centre gets the
// recorded samples themselves (conjugated, as everything on the wire); one that sees only a part gets that part.
class recordingSource : public signalSource {
 public:
  // Throws std::runtime_error when the file doesn't have two channels.
  recordingSource(double frequency_Hz, double level_dBFS, const wavData& iq, bool mirrored = false, std::string name = {});
  envelopeShape envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const override;
  heardBand occupied() const override;
  bool fitsItself() const override { return true; }
  std::string describe() const override;

 private:
  sampledEnvelope recording;
  std::string named;
};

} // namespace larch::sim
