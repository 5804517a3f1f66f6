#include "sim/signalSource.h"
#include <fmt/format.h>

namespace larch::sim {

carrierSource::carrierSource(double frequency_Hz, double level_dBFS, double phase_rad)
    : signalSource(frequency_Hz, level_dBFS), value(std::polar(1.0, phase_rad)) {}

envelopeShape carrierSource::envelope(const timeGrid&, const heardBand&, std::complex<double>* out) const {
  out[0] = value;
  return envelopeShape::constant;
}

std::string carrierSource::describe() const { return fmt::format("carrier {:.0f} Hz {:.1f} dBFS", frequency_Hz(), level_dBFS()); }

} // namespace larch::sim
