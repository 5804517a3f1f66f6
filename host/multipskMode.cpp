#include "host/multipskMode.h"
#include "host/multipskPort.h"
#include "host/textValues.h"
#include <fmt/format.h>
#include <stdexcept>
#include <utility>

namespace larchhost {
namespace {

asyncObject* base(void* handle) { return static_cast<asyncObject*>(handle); }

} // namespace

multipskMode* multipskMode::only = nullptr;

multipskMode::multipskMode(int32_t port) : wanted_(port), port_(port) {
  if (only) throw std::logic_error("one MultiPSK mode a process");
  only = this;
}

multipskMode::~multipskMode() { only = nullptr; }

// The functions that are bound may be called once more when the mode has gone: what was on its way comes by the next poll.
modDemod* multipskMode::create() {
  MultiPskModDemod* handle = MultiPskModDemod_create();
  MultiPskModDemod_setport(handle, wanted_);
  MultiPskModDemod_bindport(handle, [](int32_t port) {
    if (only) only->port_ = port;
  });
  MultiPskModDemod_bindconnected(handle, [](bool on) {
    if (only) only->tell(only->connected_, on, "MultiPSK has connected", "MultiPSK has gone");
  });
  MultiPskModDemod_bindsending(handle, [](bool on) {
    if (only) only->tell(only->sending_, on, "sending samples", "sending has ended");
  });
  return reinterpret_cast<modDemod*>(handle);
}

// The answer comes behind the attachment, and behind what that has reported.
void multipskMode::watch(vtrx* transceiver) {
  watching_ = true;
  vtrx_bindvfo(transceiver, [](int32_t frequency) {
    if (!only || !only->tried_) return; // where the transceiver began is no news
    only->frequency_ = frequency;
    only->news_.push_back(fmt::format("MultiPSK tunes to {}", frequencyText(frequency)));
  });
  asyncObject_bindEcho(base(transceiver), [](int32_t) {
    if (only) only->takePort();
  });
  asyncObject_Ping(base(transceiver), 0);
}

void multipskMode::takePort() {
  tried_ = true;
  if (listensAt(port_))
    news_.push_back(fmt::format("waiting for MultiPSK on port {} of any address of this machine; there is no password", port_));
  else
    fault_ =
        fmt::format("no port for MultiPSK: {} to {} can't be had; the log says why, choose another with --port", wanted_, port_);
}

void multipskMode::tell(bool& state, bool now, const char* on, const char* off) {
  state = now;
  news_.emplace_back(now ? on : off);
}

void multipskMode::detach(modDemod*) { watching_ = false; }

signedEdges multipskMode::receiveEdges(filterEdges edges, sideband) const { return {-edges.high, edges.high}; }
std::string multipskMode::name(sideband) const { return "MultiPSK"; }
std::string multipskMode::filterText(filterEdges edges) const { return fmt::format("{:>6}..{:<6}", -edges.high, edges.high); }

std::string multipskMode::state() const {
  if (!tried_) return "MultiPSK: opening the port";
  return fmt::format("MultiPSK: port {}, no password: {}", port_,
                     sending_     ? "connected, sending samples"
                     : connected_ ? "connected"
                                  : "nobody is connected");
}

std::optional<int32_t> multipskMode::takeFrequency() { return std::exchange(frequency_, {}); }
std::vector<std::string> multipskMode::takeNews() { return std::exchange(news_, {}); }

} // namespace larchhost
