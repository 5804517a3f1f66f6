#include "host/commands.h"
#include "host/hellSession.h"
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

namespace larchhost {
namespace {

transmitSettings chooseSending(const hellOptions& options, const hellMode& mode) {
  if (!options.transmit && !options.text.empty()) throw std::runtime_error("--text needs --transmit");
  if (options.text.size() >= sendLine::mostWaiting)
    throw std::runtime_error(fmt::format("the text is longer than {} characters", sendLine::mostWaiting - 1));
  if (!std::all_of(options.text.begin(), options.text.end(), sendLine::isPlain))
    throw std::runtime_error("--text takes printable ASCII characters without ~");
  transmitSettings s = commonSending(options);
  s.filter = mode.passband();
  return s;
}

} // namespace

int hellCommand(const hellOptions& given) {
  hellOptions options = given;
  std::string audioName;
  receiver first = chooseReceiver(options.receive, audioName);
  const auto mode = std::make_shared<hellMode>(options.step);
  first.mode = mode;
  if (options.receive.filter.empty()) first.filter = mode->passband();
  const hellSpectrum spectrum = hellSpectrumFor(chooseRate(options.receive), options.step);
  options.receive.zoom = spectrum.zoom;
  first.waterfallSpeed = spectrum.waterfallSpeed;
  const transmitSettings sending = chooseSending(options, *mode);
  hellSession session(options, sending, chooseStation(options.receive, audioName), first, *mode, spectrum.frames_s, audioName);
  const int status = session.run();
  return session.incomplete() ? failure : status;
}

} // namespace larchhost
