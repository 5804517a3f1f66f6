#include "host/voiceModes.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr double speechTop = 3000;     // Hz, of what the modes send
constexpr double broadcastTop = 25000; // Hz that broadcasting leaves beside its deviation, in a raster of 200 kHz
constexpr double narrowDeviation = 2500, wideDeviation = 75000; // Hz
constexpr int32_t carrierHalf = 4500, carrierSent = 4000, sentEnd = 24000;
constexpr int32_t wideEnd = 190000; // within half of the rate of wide reception
constexpr int32_t channelRate = 48000, wideRate = 384000;
// The third pair of sidebands of the highest tone, 4 % of the carrier at 2500 Hz, goes out as well: without them the envelope
// would rise above full scale.
constexpr double sidebandsSent = 3;

constexpr const char* names[] = {"usb", "lsb", "am", "nfm", "fm"}; // in the order of voice

// Carson's rule.
int32_t halfBand(double deviation_Hz) {
  const double top = deviation_Hz < frequencyMode::wideFrom ? speechTop : broadcastTop;
  return static_cast<int32_t>(std::lround(deviation_Hz + top));
}

} // namespace

std::optional<voice> parseVoice(const std::string& text) {
  const auto found = std::find(std::begin(names), std::end(names), text);
  if (found == std::end(names)) return {};
  return voices[found - std::begin(names)];
}

double deviation(voice v, const voiceSettings& settings) {
  const double wanted = settings.deviation_Hz.value_or(0);
  if (v == voice::fm) return wanted >= frequencyMode::wideFrom ? wanted : wideDeviation;
  if (v == voice::nfm) return wanted > 0 && wanted < frequencyMode::wideFrom ? wanted : narrowDeviation;
  return 0;
}

std::shared_ptr<stationMode> makeMode(voice v, const voiceSettings& settings) {
  if (onOneSide(v)) return std::make_shared<speechMode>(settings.compression);
  if (v == voice::am) return std::make_shared<carrierMode>(settings.compression);
  return std::make_shared<frequencyMode>(deviation(v, settings), settings.ctcss_Hz, settings.compression);
}

filterEdges receptionFilter(voice v, const voiceSettings& settings) {
  if (onOneSide(v)) return {};
  return {0, v == voice::am ? carrierHalf : halfBand(deviation(v, settings))};
}

int32_t neededRate(voice v) { return v == voice::fm ? wideRate : channelRate; }

signedEdges symmetricMode::receiveEdges(filterEdges edges, sideband) const { return {-edges.high, edges.high}; }
std::string symmetricMode::filterText(filterEdges edges) const { return fmt::format("{:>5}..{:<5}", -edges.high, edges.high); }

modDemod* carrierMode::create() {
  amModDemod* mode = amModDemod_create();
  amModDemod_setcompression(mode, compression_);
  return reinterpret_cast<modDemod*>(mode);
}
signedEdges carrierMode::transmitEdges(filterEdges, sideband) const { return {-carrierSent, carrierSent}; }

modDemod* frequencyMode::create() {
  fmModDemod* mode = fmModDemod_create();
  fmModDemod_setdeviation(mode, deviation_Hz_);
  fmModDemod_setCTCSS(mode, ctcss_Hz_);
  fmModDemod_setcompression(mode, compression_);
  return reinterpret_cast<modDemod*>(mode);
}
signedEdges frequencyMode::transmitEdges(filterEdges, sideband) const {
  const auto end = std::min(static_cast<int32_t>(std::lround(deviation_Hz_ + sidebandsSent * speechTop)), sentEnd);
  return {-end, end};
}
int32_t frequencyMode::rate() const { return neededRate(wide() ? voice::fm : voice::nfm); }
int32_t frequencyMode::widestFilter() const { return wide() ? wideEnd : symmetricMode::widestFilter(); }

} // namespace larchhost
