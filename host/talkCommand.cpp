#include "host/commands.h"
#include "host/micEqualiser.h"
#include "host/optionValues.h"
#include "host/signals.h"
#include "host/talkSession.h"
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <stdexcept>

namespace larchhost {
namespace {

void useTwoTone(receiver& first) {
  if (!onOneSide(*first.mode->spoken(first.side))) throw std::runtime_error("--two-tone is for usb and lsb");
  first.mode = std::make_shared<twoToneMode>();
}

void checkTransmission(const receiver& first, const talkOptions& options) {
  if (!options.transmit || first.mode->spoken(first.side) != voice::fm) return;
  if (deviation(voice::fm, options.receive.voice) > frequencyMode::mostTransmitted)
    throw std::runtime_error(fmt::format("fm is transmitted with a deviation of {} to {} Hz: give --deviation, or --mode nfm",
                                         frequencyMode::wideFrom, frequencyMode::mostTransmitted));
  if (chooseRate(options.receive) < first.mode->rate()) throw std::runtime_error("fm is transmitted at --rate 384k only");
}

transmitSettings chooseSending(const talkOptions& options, std::string& inputName) {
  if (!options.transmit && (options.vox || options.ptt_s > 0))
    throw std::runtime_error("--vox and --ptt-seconds need --transmit");
  transmitSettings s = commonSending(options);
  s.offset = options.offset_Hz;
  s.filter = needFilter(options.filter);
  s.microphone = chooseInput(options.input, inputName);
  s.voxThreshold = options.voxThreshold;
  s.voxHold_s = options.voxHold_s;
  s.vox = options.vox;
  s.delay = options.delay;
  s.radioKeys = options.radioKeys;
  return s;
}

} // namespace

transmitSettings commonSending(const transmitOptions& options) {
  transmitSettings s;
  s.allowed = options.transmit;
  s.timeout = std::chrono::seconds{options.timeout_s};
  s.drive = options.drive;
  s.microphone = 0;
  s.amplifier = !options.noAmplifier;
  return s;
}

int talkCommand(const talkOptions& options) {
  std::string audioName, inputName;
  receiver first = chooseReceiver(options.receive, audioName);
  if (options.twoTone) useTwoTone(first);
  checkTransmission(first, options);
  const transmitSettings sending = chooseSending(options, inputName);
  std::optional<micEqualiser> equaliser;
  if (!options.equaliser.empty()) equaliser.emplace(needEqualiser(options.equaliser));
  catchKeySignals();
  talkSession session(options, sending, chooseStation(options.receive, audioName), first, audioName, inputName);
  const int status = session.run();
  return session.incomplete() ? failure : status;
}

} // namespace larchhost
