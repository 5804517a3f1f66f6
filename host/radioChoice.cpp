#include "host/commands.h"
#include "host/discovery.h"
#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

namespace larchhost {
namespace {

constexpr int searchTime_ms = 700, questionTime_ms = 500, questions = 3;

std::vector<foundRadio> ask(const std::string& address, int protocol) {
  for (int i = 0; i < questions; i++) { // a datagram may be lost
    auto found = discover(address, address.empty() ? searchTime_ms : questionTime_ms, protocol);
    if (!found.empty()) return found;
  }
  return {};
}

boardProfile profileWithoutAnswer(int protocol) { // the commonest board
  return protocol == 2 ? *profileByKey("p2-hermes") : *profileByKey("hl2");
}

void useBoard(stationSettings& settings, const radioChoice& choice) {
  const auto profile = profileByKey(choice.board);
  if (!profile) throw std::runtime_error(fmt::format("unknown board '{}'; see larch radios --boards", choice.board));
  if (choice.protocol.value_or(profile->protocol) != profile->protocol)
    throw std::runtime_error(fmt::format("board {} speaks Protocol {}", choice.board, profile->protocol));
  settings.board = *profile;
}

} // namespace

foundRadio pickRadio(const std::vector<foundRadio>& found, bool force) {
  std::vector<foundRadio> usable;
  for (const auto& r : found) {
    const bool also = std::any_of(found.begin(), found.end(), [&](const foundRadio& o) {
      return r.protocol == 2 && o.protocol == 1 && o.address == r.address; // Protocol 1 transmits as well
    });
    if (!also && (force || !r.inUse)) usable.push_back(r);
  }
  if (usable.size() == 1) return usable[0];
  if (usable.empty() && !found.empty())
    throw std::runtime_error(
        fmt::format("the radio at {} is in use by another program (--force takes it all the same)", found[0].address));
  if (usable.empty()) throw std::runtime_error("no radio answers; give its address with --radio");
  std::string all;
  for (const auto& r : usable) all += " " + r.address;
  throw std::runtime_error(fmt::format("several radios answer:{}; choose one with --radio", all));
}

stationSettings chooseRadio(const radioChoice& choice) {
  const bool search = choice.address == "auto";
  const auto found = ask(search ? "" : choice.address, choice.protocol.value_or(0));
  stationSettings settings;
  if (found.empty() && !search) {
    if (!choice.force)
      throw std::runtime_error(fmt::format("no radio answers at {} (--force starts it all the same)", choice.address));
    settings.address = choice.address;
    settings.board = profileWithoutAnswer(choice.protocol.value_or(1));
  } else {
    const foundRadio radio = pickRadio(found, choice.force);
    settings.address = radio.address;
    settings.firmware = radio.firmware;
    settings.board = profileFor(radio.protocol, radio.board, radio.firmware);
    if (radio.receivers > 0) settings.board.receivers = radio.receivers;
  }
  if (!choice.board.empty()) useBoard(settings, choice);
  if (choice.clock_Hz) settings.board.clockFrequency = *choice.clock_Hz;
  if (choice.receivers) settings.board.receivers = *choice.receivers;
  if (choice.maxAdc) settings.board.maxAdcValue = *choice.maxAdc;
  settings.gain_dB = settings.board.defaultGain_dB;
  return settings;
}

} // namespace larchhost
