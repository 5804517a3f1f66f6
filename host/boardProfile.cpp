#include "host/boardProfile.h"
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr int hermesLiteCode = 6;
constexpr int hermesLite2Firmware = 40;
constexpr int32_t hermesClock = 122880000;

boardProfile hermes(const char* key, const char* name, int code, int32_t receivers) {
  return {key, name, 1, code, hermesClock, receivers, gainForm::attenuator, -31, 0, 0, 32768};
}
boardProfile newProtocol(const char* key, const char* name, int code) {
  return {key, name, 2, code, hermesClock, 4, gainForm::attenuator, -31, 0, 0, 32768};
}

} // namespace

const std::vector<boardProfile>& boardProfiles() {
  static const std::vector<boardProfile> all{
      {"hl2", "Hermes-Lite 2", 1, hermesLiteCode, 76800000, 4, gainForm::hermesLite2, -12, 48, 20, 2048},
      {"hl1", "Hermes-Lite 1", 1, hermesLiteCode, 73728000, 2, gainForm::hermesLite, -12, 48, 20, 2048},
      hermes("metis", "Metis", 0, 4),
      hermes("hermes", "Hermes", 1, 4),
      hermes("hermes2", "Hermes II", 2, 4),
      hermes("angelia", "Angelia", 4, 7),
      hermes("orion", "Orion", 5, 7),
      hermes("orion2", "Orion II", 10, 7),
      newProtocol("p2-atlas", "Atlas", 0),
      newProtocol("p2-hermes", "Hermes", 1),
      newProtocol("p2-hermes2", "Hermes II", 2),
      newProtocol("p2-angelia", "Angelia", 3),
      newProtocol("p2-orion", "Orion", 4),
      newProtocol("p2-orion2", "Orion II", 5),
      newProtocol("p2-hl", "Hermes-Lite", 6),
      newProtocol("p2-saturn", "Saturn", 10),
  };
  return all;
}

boardProfile profileFor(int protocol, int code, int firmware) {
  if (protocol == 1 && code == hermesLiteCode) return *profileByKey(firmware >= hermesLite2Firmware ? "hl2" : "hl1");
  for (const auto& profile : boardProfiles())
    if (profile.protocol == protocol && profile.code == code) return profile;
  boardProfile unknown = *profileByKey(protocol == 1 ? "hermes" : "p2-hermes");
  unknown.code = code;
  unknown.name = fmt::format("unknown board {}", code);
  return unknown;
}

std::optional<boardProfile> profileByKey(const std::string& key) {
  for (const auto& profile : boardProfiles())
    if (profile.key == key) return profile;
  return {};
}

} // namespace larchhost
