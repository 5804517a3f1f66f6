// PSK31 and its relatives: the library's mode with all that its detectors hear, and the text that it sends.
#pragma once
#include "host/pskBand.h"
#include "host/pskSteering.h"
#include "host/textMode.h"
#include <array>
#include <functional>
#include <optional>
#include <string>

namespace larchhost {

struct pskVariant {
  int32_t value; // as the library's `mode` takes it
  const char* name;
};
// In the order of the library's list, which is that of the operator's detectors.
constexpr std::array<pskVariant, 6> pskVariants{
    {{0, "PSK31"}, {8, "PSK63"}, {16, "PSK125"}, {1, "QPSK31"}, {9, "QPSK63"}, {17, "QPSK125"}}};
std::optional<size_t> parsePskVariant(const std::string& name); // in either case

// One a process, since the library's callbacks carry no context. Upper sideband; the audio frequency of the primary detector is
// what is followed and sent on.
class pskMode : public textMode {
 public:
  pskMode(size_t variant, int32_t frequency);
  ~pskMode() override;
  modDemod* create() override;
  void detach(modDemod* mode) override;
  std::string name(sideband side) const override;

  void setVariant(size_t variant); // of the primary detector
  void follow(int32_t frequency);  // Hz of audio
  size_t variant() const { return variant_; }
  int32_t frequency() const { return frequency_; } // as the primary detector follows the signal

  void queue(const std::string& text, uint32_t base) override;

  std::function<double(int32_t frequency)> levelAt; // dBm at a frequency of the audio, as the receiver's spectrum shows it
  pskBand& band() { return band_; }
  const pskBand& band() const { return band_; }
  std::string takePrimary(); // the primary detector's text since the last call

 private:
  template <size_t n> static void bindDetector(PskDetector* detector);
  template <size_t... n> static void bindRow(size_t row, PskDetector* detector, std::index_sequence<n...>);
  void addRow(PskDetector* detector);
  void heard(size_t detector, const char* text);
  void restarted(size_t detector);
  void steer(size_t detector);
  void releaseRows();
  void bindTexts();

  static pskMode* only;
  size_t variant_;
  int32_t frequency_;
  size_t rows_ = 0;
  std::array<PskDetector*, pskBand::scanning> scanners_{}; // the scanning ones, held until the mode goes
  std::array<int32_t, pskBand::scanning> activity_{};      // as they have it
  PskModDemod* handle_ = nullptr;                          // the station's
  pskBand band_;
  pskSteering steering_;
  std::string primary_;
};

} // namespace larchhost
