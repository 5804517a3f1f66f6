// The modes that carry speech, by their names, and those of them that lie on both sides of the carrier.
#pragma once
#include "host/stationMode.h"
#include <memory>
#include <optional>
#include <string>

namespace larchhost {

// As typed after --mode. nfm and fm are one mode of the library below and above frequencyMode::wideFrom.
enum class voice { usb, lsb, am, nfm, fm };
constexpr voice voices[] = {voice::usb, voice::lsb, voice::am, voice::nfm, voice::fm};

struct voiceSettings {
  double compression = 1;             // drive into the clipper
  double ctcss_Hz = 0;                // 0: no tone
  std::optional<double> deviation_Hz; // of nfm or of fm, whichever it suits; else their own
};

std::optional<voice> parseVoice(const std::string& text);
std::shared_ptr<stationMode> makeMode(voice v, const voiceSettings& settings);
filterEdges receptionFilter(voice v, const voiceSettings& settings); // where nothing else is asked for
double deviation(voice v, const voiceSettings& settings);            // Hz; 0 where there is none
int32_t neededRate(voice v);                                         // Hz, of the radio
inline sideband sideOf(voice v) { return v == voice::lsb ? sideband::lower : sideband::upper; }
inline bool onOneSide(voice v) { return v == voice::usb || v == voice::lsb; }

// The receive filter reaches from -high to high; `low` doesn't count.
class symmetricMode : public stationMode {
 public:
  signedEdges receiveEdges(filterEdges edges, sideband side) const override;
  std::string filterText(filterEdges edges) const override;
};

// Amplitude modulation with carrier.
class carrierMode : public symmetricMode {
 public:
  explicit carrierMode(double compression) : compression_(compression) {}
  modDemod* create() override;
  signedEdges transmitEdges(filterEdges edges, sideband side) const override;
  std::optional<voice> spoken(sideband) const override { return voice::am; }
  std::string name(sideband) const override { return "AM"; }

 private:
  const double compression_;
};

// Frequency modulation. The library makes what is transmitted at 48 kHz, whatever the deviation.
class frequencyMode : public symmetricMode {
 public:
  static constexpr double wideFrom = 12000, mostTransmitted = 20000; // Hz of deviation

  frequencyMode(double deviation_Hz, double ctcss_Hz, double compression)
      : deviation_Hz_(deviation_Hz), ctcss_Hz_(ctcss_Hz), compression_(compression) {}
  modDemod* create() override;
  signedEdges transmitEdges(filterEdges edges, sideband side) const override;
  int32_t rate() const override;
  int32_t widestFilter() const override;
  std::optional<voice> spoken(sideband) const override { return wide() ? voice::fm : voice::nfm; }
  std::string name(sideband) const override { return wide() ? "FM" : "NFM"; }

 private:
  bool wide() const { return deviation_Hz_ >= wideFrom; }

  const double deviation_Hz_, ctcss_Hz_, compression_;
};

} // namespace larchhost
