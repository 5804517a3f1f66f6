#include "host/textValues.h"
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr double highestFrequency = 2e9;
constexpr std::array rates{48000, 96000, 192000, 384000, 768000, 1536000};

// A decimal number and the unit letter behind it, k or M; the whole text must be used.
std::optional<double> parseScaled(std::string text) {
  double factor = 1;
  if (!text.empty()) {
    const char unit = text.back();
    if (unit == 'k' || unit == 'K') factor = 1e3;
    if (unit == 'M' || unit == 'm') factor = 1e6;
    if (factor != 1) text.pop_back();
  }
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return {};
  return value * factor;
}

} // namespace

std::optional<int32_t> parseFrequency(const std::string& text) {
  const auto value = parseScaled(text);
  if (!value || *value < 0 || *value > highestFrequency) return {};
  return static_cast<int32_t>(std::lround(*value));
}

std::optional<int32_t> parseRate(const std::string& text) {
  const auto value = parseScaled(text);
  for (int32_t rate : rates)
    if (value && *value == rate) return rate;
  return {};
}

std::optional<std::pair<int32_t, int32_t>> parseFilter(const std::string& text, int32_t widest) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return {};
  const auto low = parseScaled(text.substr(0, colon)), high = parseScaled(text.substr(colon + 1));
  if (!low || !high || *low >= *high || *low < -widest || *high > widest) return {};
  return std::pair{static_cast<int32_t>(std::lround(*low)), static_cast<int32_t>(std::lround(*high))};
}

std::string frequencyText(int64_t frequency) {
  return fmt::format("{}.{:03}.{:03}", frequency / 1000000, frequency / 1000 % 1000, frequency % 1000);
}
std::string megahertzText(int64_t frequency) { return fmt::format("{:.5f} MHz", static_cast<double>(frequency) / 1e6); }
std::string rateText(int32_t rate) { return fmt::format("{}k", rate / 1000); }

} // namespace larchhost
