#include "host/cwMode.h"
#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>
#include <utility>

namespace larchhost {

cwMode* cwMode::only = nullptr;

char exchanged(char c) { return c == '!' ? '?' : c == '?' ? '!' : c; }

cwMode::cwMode(const cwSettings& settings) : settings_(settings) {
  if (only) throw std::logic_error("one Morse mode a process");
  only = this;
}

cwMode::~cwMode() { only = nullptr; }

// The functions that are bound may be called once more when the mode has gone: what was on its way comes by the next poll.
modDemod* cwMode::create() {
  handle_ = cwModDemod_create();
  cwModDemod_setfreq(handle_, settings_.pitch_Hz);
  cwModDemod_setwpm(handle_, settings_.wpm);
  cwModDemod_setswHangTime(handle_, settings_.hang_ms);
  cwModDemod_setsidetoneVolume(handle_, settings_.sidetone);
  cwModDemod_bindnewChars(handle_, [](const char* text) {
    if (only) only->received_ += text;
  });
  cwModDemod_bindsentChars(handle_, [](const char* text) {
    if (only && *text) only->sent_ += exchanged(*text);
  });
  cwModDemod_bindrxwpm(handle_, [](double wpm) {
    if (only) only->receivedSpeed_ = wpm;
  });
  return reinterpret_cast<modDemod*>(handle_);
}

void cwMode::detach(modDemod*) {
  key(false); // and with it the sidetone
  handle_ = nullptr;
}

signedEdges cwMode::receiveEdges(filterEdges edges, sideband) const { return {-edges.high, edges.high}; }
signedEdges cwMode::transmitEdges(filterEdges edges, sideband) const { return {-edges.high, edges.high}; }
std::string cwMode::name(sideband) const { return "CW"; }
std::string cwMode::filterText(filterEdges edges) const { return fmt::format("{:>5} Hz wide", 2 * edges.high); }

void cwMode::key(bool down) {
  if (!handle_) return;
  down ? cwModDemod_KeyDown(handle_, 0) : cwModDemod_KeyUp(handle_, 0);
}

void cwMode::queue(const std::string& text, uint32_t base) {
  std::string sounding = text;
  std::transform(sounding.begin(), sounding.end(), sounding.begin(), exchanged);
  if (handle_) cwModDemod_QueueText(handle_, sounding.c_str(), base);
}

void cwMode::setSpeed(double wpm) {
  if (handle_) cwModDemod_setwpm(handle_, wpm);
}

std::string cwMode::takeReceived() { return std::exchange(received_, {}); }

} // namespace larchhost
