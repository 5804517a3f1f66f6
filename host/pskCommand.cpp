#include "host/commands.h"
#include "host/pskMode.h"
#include "host/pskSession.h"
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

namespace larchhost {
namespace {

constexpr filterEdges passband{200, 3200};
constexpr double wholeBand_Hz = 8000; // of spectrum that show it, half of them below the frequency
constexpr std::chrono::milliseconds carrierTail{2000};

size_t needVariant(const std::string& name) {
  if (const auto variant = parsePskVariant(name)) return *variant;
  std::string names;
  for (const pskVariant& v : pskVariants) names += fmt::format(" {}", v.name);
  throw std::runtime_error(fmt::format("unknown PSK mode '{}'; there are{}", name, names));
}

transmitSettings chooseSending(const pskOptions& options, filterEdges filter) {
  if (!options.transmit && !options.text.empty()) throw std::runtime_error("--text needs --transmit");
  if (options.text.size() > sendLine::mostWaiting)
    throw std::runtime_error(fmt::format("the text is longer than {} characters", sendLine::mostWaiting));
  if (!std::all_of(options.text.begin(), options.text.end(), sendLine::isPlain))
    throw std::runtime_error("--text takes printable ASCII characters without ~");
  transmitSettings s = commonSending(options);
  s.tail = carrierTail;
  s.filter = filter;
  return s;
}

} // namespace

int pskCommand(const pskOptions& given) {
  pskOptions options = given;
  std::string audioName;
  receiver first = chooseReceiver(options.receive, audioName);
  options.receive.zoom = chooseZoom(given.receive, wholeBand_Hz);
  if (options.receive.filter.empty()) first.filter = passband;
  if (options.primary_Hz < first.filter.low || options.primary_Hz > first.filter.high)
    throw std::runtime_error(fmt::format("--primary {} lies outside of the passband, {} to {} Hz", options.primary_Hz,
                                         first.filter.low, first.filter.high));
  const auto mode = std::make_shared<pskMode>(needVariant(options.variant), options.primary_Hz);
  first.mode = mode;
  const transmitSettings sending = chooseSending(options, first.filter);
  pskSession session(options, sending, chooseStation(options.receive, audioName), first, *mode, audioName);
  const int status = session.run();
  return session.incomplete() ? failure : status;
}

} // namespace larchhost
