// Hellschreiber: the library's mode with the text that it draws. What comes in is read by eye: see hellPicture.
#pragma once
#include "host/hellPicture.h"
#include "host/textMode.h"

namespace larchhost {

// One a process, since the library's callbacks carry no context. The tuned frequency is that of the suppressed carrier of an
// upper sideband.
class hellMode : public textMode {
 public:
  static constexpr int32_t topRow_Hz = 1300; // above the tuned frequency
  static constexpr double leastStep = 10, mostStep = 100;

  explicit hellMode(double step); // Hz between rows, and pixels a second
  ~hellMode() override;
  modDemod* create() override;
  void detach(modDemod* mode) override;
  signedEdges transmitEdges(filterEdges edges, sideband side) const override;
  std::string name(sideband side) const override;

  double step() const { return step_; }
  filterEdges passband() const; // with room for all rows
  void queue(const std::string& text, uint32_t base) override;

 private:
  static hellMode* only;
  const double step_;
  hellschreiberModDemod* handle_ = nullptr; // the station's
};

} // namespace larchhost
