#include "host/slotFormat.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace larchhost {
namespace {

struct knownMode {
  const char* name;
  slotFormat format;
};
// FT4 with a symbol of ramp at either end. JT65 and JT9 leave the end of the minute to the decoder; JT65's symbols have 17832.65
// samples.
constexpr std::array<knownMode, 5> knownModes{{{"ft8", {15000, 14400, 7680, 6.25, 79}},
                                               {"ft4", {7500, 7200, 2304, 48000.0 / 2304, 105}},
                                               {"jt65", {60000, 52000, 17833, 11025.0 / 4096, 126}},
                                               {"jt9", {60000, 52000, 27648, 48000.0 / 27648, 85}},
                                               {"wspr", {120000, 114000, 32768, 48000.0 / 32768, 162}}}};

constexpr int32_t shortest_ms = 500, longest_ms = 3600000, grid_ms = 500;
constexpr int32_t chunk_ms = 100; // and some: a capture has to be over when the next slot begins
constexpr int64_t sampleRate = 48000;
constexpr int32_t valuesForMs = 12; // of a WAV file
constexpr int64_t wavHeader = 44, wavValue = 2, c2Header = 26, c2Value = 4;
// Hz. wsprd looks for signals within 110 Hz around 1500, for the noise within 150: with what folds at 187.5 Hz the noise stays
// within 1 dB there, and what folds into 100 Hz has lost 26 dB.
constexpr filterEdges wholeBand{100, 5000}, wsprBand{1300, 1700};
constexpr int32_t besideTones = 200, lowestTone = 50, highestTone = 5500;            // Hz
constexpr int32_t fewestValues = 36000, noLateStart_ms = 60000, lateStart_ms = 3500; // below which the library sends at any time
constexpr size_t mostTones = 10000, mostText = 1 << 20, oneEach = 4;
constexpr float highestNumber = 1000;
constexpr std::string_view heading = "Channel symbols";

[[noreturn]] void refuse(const std::string& text) { throw std::runtime_error(text); }

slotFormat formatOf(const std::string& name) {
  for (const knownMode& m : knownModes)
    if (name == m.name) return m.format;
  refuse(fmt::format("unknown slot mode '{}'; there are {}", name, slotModeNames()));
}

// A little is left for the decoder.
int32_t usualRecording(int32_t period_ms) { return period_ms - std::max(period_ms / 25, std::min(300, period_ms / 4)); }

bool isOneEach(const std::string& word) {
  return word.size() >= oneEach && std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

void addWord(const std::string& word, std::vector<float>& tones) {
  if (isOneEach(word)) {
    for (const char c : word) tones.push_back(static_cast<float>(c - '0'));
    return;
  }
  float value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size() || !(std::fabs(value) <= highestNumber))
    refuse(fmt::format("'{}' is no tone number", word.substr(0, 40)));
  tones.push_back(value);
}

bool hasDigit(const std::string& line) { return line.find_first_of("0123456789") != std::string::npos; }

// What stands behind the last heading up to an empty line, without the lines that name the parts; all of it without a heading.
std::string toneLines(const std::string& text) {
  std::istringstream lines(text);
  std::string all, section, line;
  bool headed = false, inside = false;
  while (std::getline(lines, line)) {
    line = line.substr(0, line.find('#'));
    const bool begins = line.starts_with(heading);
    if (begins) section.clear();
    inside = begins || (inside && line.find_first_not_of(" \t\r") != std::string::npos);
    headed = headed || begins;
    if (inside && !begins && hasDigit(line)) section += line + '\n';
    all += line + '\n';
  }
  return headed ? section : all;
}

} // namespace

int32_t slotFormat::samplesPerBlock() const { return valuesIn(period_ms); }
int32_t slotFormat::endPadding() const { return samplesPerBlock() - valuesIn(recorded_ms); }

// I and Q stay together.
int32_t slotFormat::valuesIn(int32_t time_ms) const { return c2 ? time_ms * 3 / 8 * 2 : time_ms * valuesForMs; }

int64_t slotFormat::fileSize() const {
  return c2 ? c2Header + c2Value * samplesPerBlock() : wavHeader + wavValue * samplesPerBlock();
}

filterEdges slotFormat::passband() const { return c2 ? wsprBand : wholeBand; }

std::string slotModeNames() {
  std::string names;
  for (const knownMode& m : knownModes) names += (names.empty() ? "" : ", ") + std::string(m.name);
  return names;
}

slotFormat chooseSlotFormat(const slotWishes& wishes) {
  slotFormat f = wishes.mode.empty() ? slotFormat{} : formatOf(wishes.mode);
  if (wishes.save != "wav" && wishes.save != "c2") refuse(fmt::format("--save is wav or c2, not '{}'", wishes.save));
  f.c2 = wishes.save == "c2";
  if (wishes.period_ms && (*wishes.period_ms < shortest_ms || *wishes.period_ms > longest_ms))
    refuse(fmt::format("a period has {} to {} ms", shortest_ms, longest_ms));
  if (wishes.period_ms && *wishes.period_ms % grid_ms != 0)
    refuse(fmt::format("a period is a multiple of {} ms", grid_ms)); // a slot begins on a half-second
  const bool other = wishes.period_ms && *wishes.period_ms != f.period_ms;
  f.period_ms = wishes.period_ms.value_or(f.period_ms);
  f.recorded_ms = wishes.recorded_ms.value_or(other ? usualRecording(f.period_ms) : f.recorded_ms);
  if (f.recorded_ms < chunk_ms || f.recorded_ms > f.period_ms - chunk_ms)
    refuse(fmt::format("of a period of {} ms there can be recorded {} to {}", f.period_ms, chunk_ms, f.period_ms - chunk_ms));
  f.samplesPerSymbol = wishes.samplesPerSymbol.value_or(f.samplesPerSymbol);
  f.toneSpacing_Hz = wishes.toneSpacing_Hz.value_or(f.toneSpacing_Hz);
  return f;
}

std::vector<float> parseTones(const std::string& text) {
  std::string lines = toneLines(text);
  std::replace(lines.begin(), lines.end(), ',', ' ');
  std::vector<float> tones;
  std::istringstream words(lines);
  for (std::string word; words >> word && tones.size() <= mostTones;) addWord(word, tones);
  if (tones.empty()) refuse("there are no tones");
  if (tones.size() > mostTones) refuse(fmt::format("there are more than {} tones", mostTones));
  return tones;
}

std::vector<float> readTones(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(mostText, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (!file.is_open() || file.bad() || (file.gcount() == 0 && !file.eof())) refuse(fmt::format("can't read {}", path));
  if (!file.eof()) refuse(fmt::format("{} is too long to be tones", path));
  text.resize(static_cast<size_t>(file.gcount()));
  try {
    return parseTones(text);
  } catch (const std::runtime_error& e) {
    refuse(fmt::format("{}: {}", path, e.what()));
  }
}

filterEdges toneEdges(const std::vector<float>& tones, const slotFormat& format, int32_t lowest_Hz) {
  const auto [low, high] = std::minmax_element(tones.begin(), tones.end());
  const auto frequency = [&](float tone) { return lowest_Hz + static_cast<int32_t>(std::lround(tone * format.toneSpacing_Hz)); };
  return {std::max(frequency(*low) - besideTones, 0), frequency(*high) + besideTones};
}

void checkTones(const std::vector<float>& tones, const slotFormat& format, int32_t lowest_Hz) {
  if (format.tones > 0 && tones.size() != format.tones)
    refuse(fmt::format("a message of this mode has {} tones, these are {}", format.tones, tones.size()));
  const int64_t length_ms = static_cast<int64_t>(tones.size()) * format.samplesPerSymbol * 1000 / sampleRate;
  if (length_ms > format.period_ms) refuse(fmt::format("{} ms of tones in a slot of {} ms", length_ms, format.period_ms));
  const auto [low, high] = std::minmax_element(tones.begin(), tones.end());
  const double from = lowest_Hz + *low * format.toneSpacing_Hz, to = lowest_Hz + *high * format.toneSpacing_Hz;
  if (!(from >= lowestTone) || !(to <= highestTone))
    refuse(fmt::format("the tones lie at {:.0f} to {:.0f} Hz; {} to {} can be sent", from, to, lowestTone, highestTone));
  const bool counted = !format.c2 && format.samplesPerBlock() - format.endPadding() >= fewestValues;
  if (format.period_ms <= lateStart_ms || (format.period_ms < noLateStart_ms && !counted))
    refuse("nothing is sent in slots of 3.5 s or less, or of which less than 3 s are recorded as WAV");
}

} // namespace larchhost
