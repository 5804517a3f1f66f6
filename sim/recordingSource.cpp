#include "sim/recordingSource.h"
#include <stdexcept>
#include <fmt/format.h>

namespace larch::sim {

namespace {
sampledEnvelope fromStereo(const wavData& iq, bool mirrored) {
  if (iq.channels != 2) throw std::runtime_error("an IQ recording has two channels");
  std::vector<std::complex<float>> z;
  z.reserve(iq.frames());
  for (size_t n = 0; n < iq.frames(); ++n)
    z.emplace_back(iq.samples[2 * n], mirrored ? -iq.samples[2 * n + 1] : iq.samples[2 * n + 1]);
  return {std::move(z), iq.rate_Hz};
}
} // namespace

recordingSource::recordingSource(double frequency_Hz, double level_dBFS, const wavData& iq, bool mirrored, std::string name)
    : signalSource(frequency_Hz, level_dBFS), recording(fromStereo(iq, mirrored)), named(std::move(name)) {}

envelopeShape recordingSource::envelope(const timeGrid& grid, const heardBand& heard, std::complex<double>* out) const {
  const double half = recording.rate_Hz() / 2, slack = half * 1e-3; // a clock error is no reason to filter
  if (heard.low_Hz <= -half + slack && heard.high_Hz >= half - slack)
    recording.read(grid, out);
  else
    recording.readLimited(grid, heard, out);
  return envelopeShape::varying;
}

heardBand recordingSource::occupied() const { return {-recording.rate_Hz() / 2, recording.rate_Hz() / 2}; }

std::string recordingSource::describe() const {
  return fmt::format("iq {:.0f} Hz {:.1f} dBFS {:.0f} samples/s {}", frequency_Hz(), level_dBFS(), recording.rate_Hz(), named);
}

} // namespace larch::sim
