// What the core leaves to the host: the settings that depend on the radio's board.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larchhost {

enum class gainForm { attenuator, hermesLite, hermesLite2 };

struct boardProfile {
  std::string key;  // as typed after --board
  std::string name; // as shown
  int protocol = 1;
  int code = 0;               // as discovery reports it
  int32_t clockFrequency = 0; // Hz
  int32_t receivers = 1;
  gainForm gain = gainForm::attenuator;
  int32_t minGain_dB = 0, maxGain_dB = 0, defaultGain_dB = 0;
  int32_t maxAdcValue = 32768;
};

const std::vector<boardProfile>& boardProfiles();
// The profile that a radio's discovery answer asks for; the firmware tells the two Hermes-Lites apart. A board that isn't known
// gets its protocol's most common form and a name that says so.
boardProfile profileFor(int protocol, int code, int firmware);
std::optional<boardProfile> profileByKey(const std::string& key);

} // namespace larchhost
