#include "host/rttyMode.h"
#include <fmt/format.h>
#include <stdexcept>

namespace larchhost {
namespace {

constexpr int32_t keyingWidth = 250; // Hz that the keying takes on either side of a tone

modDemod* asMode(RTTYModDemod* handle) { return reinterpret_cast<modDemod*>(handle); }

} // namespace

rttyMode* rttyMode::only = nullptr;

rttyMode::rttyMode(int32_t mark) : mark_(mark) {
  if (only) throw std::logic_error("one RTTY mode a process");
  only = this;
}

rttyMode::~rttyMode() { only = nullptr; }

// The functions that are bound may be called once more when the mode has gone: what was on its way comes by the next poll.
modDemod* rttyMode::create() {
  handle_ = RTTYModDemod_create();
  modDemod_setrxFreq(asMode(handle_), mark_);
  RTTYModDemod_bindnewChars(handle_, [](const char* text) {
    if (only) only->received_ += text;
  });
  RTTYModDemod_bindsentChars(handle_, [](const char* text) {
    if (only && *text) only->sent_ += *text;
  });
  return asMode(handle_);
}

void rttyMode::detach(modDemod*) { handle_ = nullptr; }

signedEdges rttyMode::receiveEdges(filterEdges edges, sideband) const {
  const int32_t middle = mark_ + shift / 2;
  return {middle - edges.high, middle + edges.high};
}
signedEdges rttyMode::transmitEdges(filterEdges, sideband) const { return {sentSpace - keyingWidth, sentMark + keyingWidth}; }
std::string rttyMode::name(sideband) const { return "RTTY"; }
std::string rttyMode::filterText(filterEdges edges) const { return fmt::format("{:>5} Hz wide", 2 * edges.high); }

void rttyMode::queue(const std::string& text, uint32_t base) {
  if (handle_) RTTYModDemod_QueueText(handle_, text.c_str(), base);
}

} // namespace larchhost
