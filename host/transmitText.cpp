#include "host/transmitText.h"
#include <algorithm>
#include <chrono>
#include <fmt/format.h>

namespace larchhost {
namespace {

bool unseen(char c) { return c >= 0 && c < ' '; }

} // namespace

std::string stateText(const transmitter& sender, const std::string& how) {
  const transmitGuard& guard = sender.guard();
  std::string text = !guard.allowed()                   ? "receive only"
                     : guard.onAir() && sender.tuning() ? "ON AIR: TUNE"
                     : guard.onAir() && !how.empty()    ? "ON AIR: " + how
                     : guard.onAir()                    ? "ON AIR"
                     : guard.keyed()                    ? "keying"
                                                        : "receive";
  if (guard.keyed()) {
    const auto left = std::chrono::ceil<std::chrono::seconds>(guard.remaining()).count();
    text += fmt::format("  {}:{:02} left", left / 60, left % 60);
  }
  return text + fmt::format("  drive {}", sender.settings().drive);
}

std::string stateColour(const transmitGuard& guard) {
  return guard.onAir() ? "\033[1;37;41m" : guard.keyed() ? "\033[1;30;43m" : "";
}

std::string lineText(const sendLine& line, size_t room) {
  const std::string what = line.live() ? "send> " : "hold> ";
  const size_t left = room - std::min(room, what.size() + 1);
  std::string gone = line.gone(), rest = line.waiting() + line.held();
  std::replace(gone.begin(), gone.end(), sendLine::endSign, ' ');
  std::replace(rest.begin(), rest.end(), sendLine::endSign, '|');
  std::erase_if(gone, unseen);
  std::erase_if(rest, unseen);
  if (rest.size() > left) rest.erase(0, rest.size() - left);
  if (gone.size() + rest.size() > left) gone.erase(0, gone.size() + rest.size() - left);
  return fmt::format("{}\033[2m{}\033[0m{}_", what.substr(0, room), gone, rest);
}

} // namespace larchhost
