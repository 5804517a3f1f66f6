#include "host/commands.h"
#include "host/console.h"
#include "host/optionValues.h"
#include "host/receiveSession.h"
#include "host/textValues.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <stdexcept>

namespace larchhost {
namespace {

constexpr int32_t usualRate = 192000, fastestOfProtocol1 = 384000;

voice chooseVoice(const listenOptions& options) {
  const voice v = needVoice(options.mode);
  const double wanted = options.voice.deviation_Hz.value_or(0);
  if (v == voice::nfm && wanted >= frequencyMode::wideFrom)
    throw std::runtime_error(fmt::format("a deviation of {} Hz is --mode fm", wanted));
  if (v == voice::fm && wanted > 0 && wanted < frequencyMode::wideFrom)
    throw std::runtime_error(fmt::format("a deviation of {} Hz is --mode nfm", wanted));
  return v;
}

filterEdges chooseFilter(const std::string& text, const stationMode& mode) {
  const filterEdges edges = needFilter(text, std::max(mode.widestFilter(), widestChannel));
  return onOneSide(*mode.spoken(sideband::upper)) ? edges : filterEdges{0, edges.high};
}

std::optional<voice> furtherVoice(const std::string& text) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return {};
  return needVoice(text.substr(colon + 1));
}

} // namespace

int32_t chooseRate(const listenOptions& options) {
  if (!options.rate.empty()) return needRate(options.rate);
  int32_t rate = std::max(usualRate, neededRate(needVoice(options.mode)));
  for (const auto& text : options.also)
    if (const auto v = furtherVoice(text)) rate = std::max(rate, neededRate(*v));
  return rate;
}

double chooseZoom(const listenOptions& options, double span_Hz) {
  return std::min(options.zoom, std::exp2(std::floor(std::log2(chooseRate(options) / span_Hz))));
}

receiver chooseReceiver(const listenOptions& options, std::string& audioName) {
  receiver first;
  first.frequency = needFrequency(options.frequency);
  const voice v = chooseVoice(options);
  first.mode = makeMode(v, options.voice);
  first.side = sideOf(v);
  first.filter = options.filter.empty() ? receptionFilter(v, options.voice) : chooseFilter(options.filter, *first.mode);
  for (const auto& text : options.also) needFrequency(text.substr(0, text.find(':')));
  chooseRate(options);
  first.audioDevice = chooseOutput(options.audio, audioName);
  return first;
}

stationSettings chooseStation(const listenOptions& options, const std::string& audioName) {
  stationSettings settings = chooseRadio(options.radio);
  settings.rate = chooseRate(options);
  if (settings.board.protocol == 1 && settings.rate > fastestOfProtocol1)
    throw std::runtime_error(fmt::format("{} samples/s is a rate of Protocol 2 radios", settings.rate));
  settings.transverter = options.transverter_Hz;
  if (options.gain_dB) settings.gain_dB = *options.gain_dB;
  printLine(stdout, fmt::format("{} at {}, Protocol {}: clock {} Hz, {} receivers, gain {} dB, {} samples/s, audio: {}",
                                settings.board.name, settings.address, settings.board.protocol, settings.board.clockFrequency,
                                settings.board.receivers, settings.gain_dB, settings.rate, audioName));
  return settings;
}

int listenCommand(const listenOptions& options) {
  std::string audioName;
  const receiver first = chooseReceiver(options, audioName);
  return receiveSession(options, chooseStation(options, audioName), first, audioName).run();
}

} // namespace larchhost
