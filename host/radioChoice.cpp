#include "host/commands.h"
#include "host/discovery.h"
#include <fmt/format.h>
#include <stdexcept>

namespace larchhost {
namespace {

constexpr int searchTime_ms = 700, questionTime_ms = 500, questions = 3;

std::vector<foundRadio> ask(const std::string& address) {
  for (int i = 0; i < questions; i++) { // a datagram may be lost
    auto found = discover(address, address.empty() ? searchTime_ms : questionTime_ms);
    if (!found.empty()) return found;
  }
  return {};
}

foundRadio pick(const std::vector<foundRadio>& found, bool force) {
  std::vector<foundRadio> usable;
  for (const auto& r : found)
    if (r.protocol == 1 && (force || !r.inUse)) usable.push_back(r);
  if (usable.size() == 1) return usable[0];
  if (usable.empty() && !found.empty()) {
    if (found[0].protocol == 2)
      throw std::runtime_error(fmt::format("the radio at {} speaks Protocol 2, which isn't received yet", found[0].address));
    throw std::runtime_error(
        fmt::format("the radio at {} is in use by another program (--force takes it all the same)", found[0].address));
  }
  if (usable.empty()) throw std::runtime_error("no radio answers; give its address with --radio");
  std::string all;
  for (const auto& r : usable) all += " " + r.address;
  throw std::runtime_error(fmt::format("several radios answer:{}; choose one with --radio", all));
}

} // namespace

stationSettings chooseRadio(const radioChoice& choice) {
  const bool search = choice.address == "auto";
  const auto found = ask(search ? "" : choice.address);
  stationSettings settings;
  if (found.empty() && !search) {
    if (!choice.force)
      throw std::runtime_error(fmt::format("no radio answers at {} (--force starts it all the same)", choice.address));
    settings.address = choice.address;
    settings.board = profileFor(1, 6, 255); // without an answer: the commonest board
  } else {
    const foundRadio radio = pick(found, choice.force);
    settings.address = radio.address;
    settings.firmware = radio.firmware;
    settings.board = profileFor(radio.protocol, radio.board, radio.firmware);
    if (radio.receivers > 0) settings.board.receivers = radio.receivers;
  }
  if (!choice.board.empty()) {
    const auto profile = profileByKey(choice.board);
    if (!profile) throw std::runtime_error(fmt::format("unknown board '{}'; see larch radios --boards", choice.board));
    settings.board = *profile;
  }
  if (choice.clock_Hz) settings.board.clockFrequency = *choice.clock_Hz;
  if (choice.receivers) settings.board.receivers = *choice.receivers;
  if (choice.maxAdc) settings.board.maxAdcValue = *choice.maxAdc;
  settings.gain_dB = settings.board.defaultGain_dB;
  return settings;
}

} // namespace larchhost
