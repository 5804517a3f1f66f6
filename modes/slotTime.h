// When the slots of the timed modes begin, and what their files are called. All of it is UTC, in half-seconds since 1970.
#pragma once
#include <cstdint>
#include <string>

namespace larch {

constexpr int32_t halfSecond_ms = 500;

int64_t halfSecondOf(int64_t utc_ns); // the one that this moment lies in; rt

// Slots count from the top of each hour. required: a period that doesn't divide the hour starts anew there, and one longer than
// an hour begins with each. What a period has beyond whole half-seconds doesn't count. Below half a second there are none. rt
bool beginsSlotAt(int64_t halfSecond, int32_t period_ms);

// "261121_224500.wav"; without seconds from one minute on, and with ".c2" in place of ".wav" always without.
std::string slotFileName(int64_t halfSecond, int32_t period_ms, bool c2);

} // namespace larch
