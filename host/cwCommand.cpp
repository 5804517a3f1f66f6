#include "host/commands.h"
#include "host/cwMode.h"
#include "host/cwSession.h"
#include "host/optionValues.h"
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

namespace larchhost {
namespace {

void needText(const std::string& text) {
  if (text.size() > sendLine::mostWaiting)
    throw std::runtime_error(fmt::format("the text is longer than {} characters", sendLine::mostWaiting));
  const auto bad = std::find_if_not(text.begin(), text.end(), sendLine::hasCode);
  if (bad != text.end())
    throw std::runtime_error(fmt::format("no Morse code for '{}': letters, digits, blank, . ! ? have one",
                                         std::string(bad, std::find_if(bad, text.end(), sendLine::hasCode))));
}

transmitSettings chooseSending(const cwOptions& options) {
  if (!options.transmit && (!options.text.empty() || !options.key.empty()))
    throw std::runtime_error("--text and --key need --transmit");
  needText(options.text);
  transmitSettings s = commonSending(options);
  s.offset = options.offset_Hz;
  return s;
}

} // namespace

int cwCommand(const cwOptions& options) {
  std::string audioName;
  receiver first = chooseReceiver(options.receive, audioName);
  const auto mode = std::make_shared<cwMode>(cwSettings{options.wpm, options.pitch_Hz, options.sidetone, options.hang_ms});
  first.mode = mode;
  first.filter = {0, options.width_Hz / 2};
  const transmitSettings sending = chooseSending(options);
  auto key = options.key.empty() ? nullptr : std::make_unique<keyInput>(options.key);
  cwSession session(options, sending, chooseStation(options.receive, audioName), first, *mode, std::move(key), audioName);
  const int status = session.run();
  session.printRest();
  return session.incomplete() ? failure : status;
}

} // namespace larchhost
