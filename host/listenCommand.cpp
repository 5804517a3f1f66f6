#include "host/commands.h"
#include "host/console.h"
#include "host/optionValues.h"
#include "host/receiveSession.h"
#include "host/textValues.h"
#include <fmt/format.h>

namespace larchhost {

receiver chooseReceiver(const listenOptions& options, std::string& audioName) {
  receiver first;
  first.frequency = needFrequency(options.frequency);
  first.side = needSide(options.mode);
  if (!options.filter.empty()) first.filter = needFilter(options.filter);
  needRate(options.rate);
  for (const auto& text : options.also) needFrequency(text.substr(0, text.find(':')));
  first.audioDevice = chooseOutput(options.audio, audioName);
  return first;
}

stationSettings chooseStation(const listenOptions& options, const std::string& audioName) {
  stationSettings settings = chooseRadio(options.radio);
  settings.rate = needRate(options.rate);
  settings.transverter = options.transverter_Hz;
  if (options.gain_dB) settings.gain_dB = *options.gain_dB;
  printLine(stdout, fmt::format("{} at {}: clock {} Hz, {} receivers, gain {} dB, {} samples/s, audio: {}", settings.board.name,
                                settings.address, settings.board.clockFrequency, settings.board.receivers, settings.gain_dB,
                                settings.rate, audioName));
  return settings;
}

int listenCommand(const listenOptions& options) {
  std::string audioName;
  const receiver first = chooseReceiver(options, audioName);
  return receiveSession(options, chooseStation(options, audioName), first, audioName).run();
}

} // namespace larchhost
