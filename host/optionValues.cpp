#include "host/optionValues.h"
#include "host/deviceList.h"
#include "host/textValues.h"
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace larchhost {
namespace {

constexpr int32_t systemDefault = -2, noOutput = -1, noInput = 0, fastestRate = 1536000;
constexpr size_t equaliserRows = 9;
constexpr double equaliserEnd = 24000, mostGain = 100, beyondLast = 1000;

[[noreturn]] void refuse(const std::string& text) { throw std::runtime_error(text); }

std::string nameOf(const std::vector<soundDevice>& devices, int32_t id) {
  for (const auto& d : devices)
    if (d.id == id) return d.name;
  return "none";
}

bool parseNumber(const std::string& text, double& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

std::string readPoints(const std::string& path) {
  std::ifstream file(path);
  if (!file) refuse(fmt::format("can't read {}", path));
  std::string all, line;
  while (std::getline(file, line)) all += line.substr(0, line.find('#')) + ' ';
  return all;
}

} // namespace

voice needVoice(const std::string& text) {
  const auto v = parseVoice(text);
  if (!v) refuse(fmt::format("unknown mode '{}': usb, lsb, am, nfm or fm", text));
  return *v;
}

int32_t needFrequency(const std::string& text) {
  const auto frequency = parseFrequency(text);
  if (!frequency) refuse(fmt::format("'{}' is no frequency (7.074M, 7074k, 7074000)", text));
  return *frequency;
}

filterEdges needFilter(const std::string& text, int32_t widest) {
  const auto edges = parseFilter(text, widest);
  if (!edges) refuse(fmt::format("'{}' is no filter (200:2900, in Hz)", text));
  const auto [low, high] = std::minmax({std::abs(edges->first), std::abs(edges->second)});
  return {low, high};
}

int32_t needRate(const std::string& text) {
  const auto rate = parseRate(text);
  if (!rate || *rate > fastestRate) refuse(fmt::format("'{}' is no rate: 48k, 96k, 192k, 384k; 768k, 1536k of Protocol 2", text));
  return *rate;
}

int32_t chooseOutput(const std::string& text, std::string& shown) {
  const deviceLists lists = readDevices();
  if (text.empty()) {
    shown = lists.outputs.size() > 1 ? "default" : "none here";
    return systemDefault;
  }
  const auto device = findDevice(lists.outputs, text);
  if (!device) refuse(fmt::format("no sound output '{}'; see larch devices", text));
  shown = *device == noOutput ? "none" : nameOf(lists.outputs, *device);
  return *device;
}

int32_t chooseInput(const std::string& text, std::string& shown) {
  const deviceLists lists = readDevices();
  if (text.empty()) {
    shown = lists.inputs.size() > 1 ? "default" : "none here";
    return systemDefault;
  }
  const auto device = findDevice(lists.inputs, text);
  if (!device) refuse(fmt::format("no sound input '{}'; see larch devices", text));
  const int32_t id = std::max(*device, noInput); // "none" is the list's first row
  shown = id == noInput ? "none" : nameOf(lists.inputs, id);
  return id;
}

equaliserPoints needEqualiser(const std::string& text) {
  std::string list = std::filesystem::is_regular_file(text) ? readPoints(text) : text;
  std::replace(list.begin(), list.end(), ',', ' ');
  equaliserPoints points;
  std::istringstream words(list);
  for (std::string word; words >> word;) {
    const size_t colon = word.find(':');
    double frequency = 0, gain = 0;
    if (colon == std::string::npos || !parseNumber(word.substr(0, colon), frequency) ||
        !parseNumber(word.substr(colon + 1), gain))
      refuse(fmt::format("'{}' is no equaliser point (300:0.5, Hz and linear gain)", word));
    if (frequency < 0 || frequency > equaliserEnd || gain < 0 || gain > mostGain)
      refuse(fmt::format("equaliser point '{}' is out of range: 0 to 24000 Hz, gain 0 to 100", word));
    if (!points.empty() && frequency <= points.back().first) refuse(fmt::format("equaliser point '{}' doesn't rise", word));
    points.emplace_back(frequency, gain);
  }
  if (points.empty() || points.size() > equaliserRows) refuse("the equaliser takes one to nine points");
  while (points.size() < equaliserRows) points.emplace_back(points.back().first + beyondLast, points.back().second);
  return points;
}

} // namespace larchhost
