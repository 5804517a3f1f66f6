#include "host/hellMode.h"
#include <cmath>
#include <stdexcept>

namespace larchhost {
namespace {

constexpr double margin_Hz = 100; // for the filter's edges

} // namespace

hellMode* hellMode::only = nullptr;

hellMode::hellMode(double step) : step_(step) {
  if (only) throw std::logic_error("one Hellschreiber a process");
  only = this;
}

hellMode::~hellMode() { only = nullptr; }

// The function that is bound may be called once more when the mode has gone: what was on its way comes by the next poll.
modDemod* hellMode::create() {
  handle_ = hellschreiberModDemod_create();
  hellschreiberModDemod_setfrequencyStep(handle_, step_);
  hellschreiberModDemod_bindsentChars(handle_, [](const char* text) {
    if (only && *text) only->sent_ += *text;
  });
  return reinterpret_cast<modDemod*>(handle_);
}

void hellMode::detach(modDemod*) { handle_ = nullptr; }

filterEdges hellMode::passband() const {
  return {static_cast<int32_t>(std::lround(topRow_Hz - hellPicture::rows * step_ - margin_Hz)),
          static_cast<int32_t>(std::lround(topRow_Hz + step_ + margin_Hz))};
}
signedEdges hellMode::transmitEdges(filterEdges, sideband side) const { return onSide(passband(), side); }
std::string hellMode::name(sideband) const { return "HELL"; }

void hellMode::queue(const std::string& text, uint32_t base) {
  if (handle_) hellschreiberModDemod_QueueText(handle_, text.c_str(), base);
}

} // namespace larchhost
