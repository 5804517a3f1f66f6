#include "host/commands.h"
#include "host/micEqualiser.h"
#include "host/optionValues.h"
#include "host/signals.h"
#include "host/talkSession.h"
#include <memory>
#include <optional>
#include <stdexcept>

namespace larchhost {
namespace {

std::shared_ptr<stationMode> chooseMode(const talkOptions& options) {
  if (options.twoTone) return std::make_shared<twoToneMode>();
  return std::make_shared<speechMode>(options.compression);
}

transmitSettings chooseSending(const talkOptions& options, std::string& inputName) {
  if (!options.transmit && (options.vox || options.ptt_s > 0))
    throw std::runtime_error("--vox and --ptt-seconds need --transmit");
  transmitSettings s;
  s.allowed = options.transmit;
  s.timeout = std::chrono::seconds{options.timeout_s};
  s.drive = options.drive;
  s.offset = options.offset_Hz;
  s.filter = needFilter(options.filter);
  s.microphone = chooseInput(options.input, inputName);
  s.voxThreshold = options.voxThreshold;
  s.voxHold_s = options.voxHold_s;
  s.vox = options.vox;
  s.delay = options.delay;
  s.radioKeys = options.radioKeys;
  s.amplifier = !options.noAmplifier;
  return s;
}

} // namespace

int talkCommand(const talkOptions& options) {
  std::string audioName, inputName;
  receiver first = chooseReceiver(options.receive, audioName);
  first.mode = chooseMode(options);
  const transmitSettings sending = chooseSending(options, inputName);
  std::optional<micEqualiser> equaliser;
  if (!options.equaliser.empty()) equaliser.emplace(needEqualiser(options.equaliser));
  catchKeySignals();
  return talkSession(options, sending, chooseStation(options.receive, audioName), first, audioName, inputName).run();
}

} // namespace larchhost
