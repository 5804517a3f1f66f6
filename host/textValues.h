// What people type and read: frequencies, rates, filters.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace larchhost {

// "7.074M", "7074k", "7074000", "7074.5k": Hz. Nothing for text that isn't a frequency of 0 to 2,000,000,000 Hz.
std::optional<int32_t> parseFrequency(const std::string& text);
// "48k", "192k", "192000": one of the rates 48, 96, 192, 384, 768, 1536 kHz.
std::optional<int32_t> parseRate(const std::string& text);
constexpr int32_t widestChannel = 24000; // Hz on either side, of 48 kHz
// "200:2900" or "-2900:-200": Hz from the tuned frequency, low first, within -widest to widest.
std::optional<std::pair<int32_t, int32_t>> parseFilter(const std::string& text, int32_t widest = widestChannel);

std::string frequencyText(int64_t frequency); // "7.074.000"
std::string megahertzText(int64_t frequency); // "7.07400 MHz"
std::string rateText(int32_t rate);           // "192k"

} // namespace larchhost
