#include "sim/amSource.h"
#include <fmt/format.h>
#include "sim/programmeAudio.h"

namespace larch::sim {

amSource::amSource(double frequency_Hz, double level_dBFS, const wavData& audio, double modulation, double pause_s,
                   std::string name)
    : signalSource(frequency_Hz, level_dBFS), depth(modulation),
      programme(makeProgramme(audio, {audioLow_Hz, audioHigh_Hz, audioSlope_Hz, 0}, pause_s)), named(std::move(name)) {}

envelopeShape amSource::envelope(const timeGrid& grid, const heardBand&, std::complex<double>* out) const {
  programme.read(grid, out);
  for (size_t n = 0; n < grid.count; ++n) out[n] = 1 + depth * out[n].real();
  return envelopeShape::varying;
}

heardBand amSource::occupied() const { return {-audioHigh_Hz - audioSlope_Hz, audioHigh_Hz + audioSlope_Hz}; }

std::string amSource::describe() const {
  return fmt::format("am {:.0f} Hz {:.1f} dBFS depth {:g} {}", frequency_Hz(), level_dBFS(), depth, named);
}

} // namespace larch::sim
