#include "host/commands.h"
#include "host/ownOutput.h"
#include "host/rttySession.h"
#include "host/rttyShifts.h"
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

namespace larchhost {
namespace {

constexpr size_t roomForEnd = 3;
constexpr double tonesAndSome_Hz = 8000; // of spectrum that show them, half of them below the frequency

void needText(const std::string& text) {
  const auto bad = std::find_if_not(text.begin(), text.end(), isRttyText);
  if (bad != text.end())
    throw std::runtime_error(fmt::format("no code for '{}': letters, digits, blank and - ' , ! : ( ) + ? & . / = have one",
                                         std::string(bad, std::find_if(bad, text.end(), isRttyText))));
  if (rttySession::queuedText(text).size() > sendLine::mostWaiting - roomForEnd)
    throw std::runtime_error(
        fmt::format("the text is longer than {} characters with its shifts", sendLine::mostWaiting - roomForEnd));
}

transmitSettings chooseSending(const rttyOptions& options) {
  if (!options.transmit && !options.text.empty()) throw std::runtime_error("--text needs --transmit");
  needText(options.text);
  return commonSending(options);
}

} // namespace

int rttyCommand(const rttyOptions& given) {
  rttyOptions options = given;
  options.raw ? leaveToLibrary() : silenceLibrary();
  options.receive.zoom = chooseZoom(given.receive, tonesAndSome_Hz);
  options.receive.plain = options.receive.plain || options.raw;
  std::string audioName;
  receiver first = chooseReceiver(options.receive, audioName);
  const auto mode = std::make_shared<rttyMode>(options.mark_Hz);
  first.mode = mode;
  first.filter = {0, options.width_Hz / 2};
  const transmitSettings sending = chooseSending(options);
  rttySession session(options, sending, chooseStation(options.receive, audioName), first, *mode, audioName);
  const int status = session.run();
  return session.incomplete() ? failure : status;
}

} // namespace larchhost
