#include "host/commands.h"
#include "host/optionValues.h"
#include "host/slotMode.h"
#include "host/slotSession.h"
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <unistd.h>

namespace larchhost {
namespace {

constexpr double wholeBand_Hz = 12000; // of spectrum that show it, half of them below the frequency

// With its separator, as the library takes it. A name that begins with a dash would be an option to the decoder.
std::string needFolder(const std::string& text) {
  std::string folder = text.starts_with('-') ? "./" + text : text;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!std::filesystem::is_directory(folder, error) || access(folder.c_str(), W_OK | X_OK) != 0)
    throw std::runtime_error(fmt::format("can't write into the folder {}", text));
  if (!folder.ends_with('/')) folder += '/';
  return folder == "./" ? "" : folder;
}

void checkDecoder(const slotOptions& options) {
  if (!options.decoder.empty() && options.decoder.find("{}") == std::string::npos)
    throw std::runtime_error("--decoder needs {} where the file's name goes");
}

transmitSettings chooseSending(const slotOptions& options, const slotFormat& format, const std::vector<float>& tones) {
  transmitSettings s = commonSending(options);
  if (!tones.empty()) s.filter = toneEdges(tones, format, options.tone_Hz);
  return s;
}

} // namespace

int slotsCommand(const slotOptions& given) {
  slotOptions options = given;
  const slotFormat format = chooseSlotFormat(options.slots);
  checkDecoder(options);
  std::vector<float> tones;
  if (!options.send.empty()) {
    if (!options.transmit) throw std::runtime_error("--send needs --transmit");
    tones = readTones(options.send);
    checkTones(tones, format, options.tone_Hz);
  }
  std::string audioName;
  receiver first = chooseReceiver(options.receive, audioName);
  options.receive.zoom = chooseZoom(given.receive, wholeBand_Hz);
  if (options.receive.filter.empty()) first.filter = format.passband();
  const auto mode = std::make_shared<slotMode>(format, needFolder(options.folder), options.tone_Hz);
  first.mode = mode;
  const transmitSettings sending = chooseSending(options, format, tones);
  slotSession session(options, format, tones, sending, chooseStation(options.receive, audioName), first, *mode, audioName);
  const int status = session.run();
  return session.incomplete() ? failure : status;
}

} // namespace larchhost
