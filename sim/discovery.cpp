#include "sim/discovery.h"
#include <algorithm>

namespace larch::sim {

namespace {
constexpr boardProfile boards[] = {
    {"metis", 0, 31, 0, false, false, 122880000, 4, gainForm::attenuator, 32768, 1},
    {"hermes", 1, 31, 0, false, false, 122880000, 4, gainForm::attenuator, 32768, 1},
    {"hermes2", 2, 31, 0, false, false, 122880000, 4, gainForm::attenuator, 32768, 1},
    {"angelia", 4, 35, 0, false, false, 122880000, 7, gainForm::attenuator, 32768, 1},
    {"orion", 5, 35, 0, false, false, 122880000, 7, gainForm::attenuator, 32768, 1},
    {"hermeslite", 6, 32, 0, false, true, 73728000, 2, gainForm::liteFirst, 2048, 1.0 / 16},
    {"hermeslite2", 6, 72, 8, true, true, 76800000, 4, gainForm::liteSecond, 2048, 1.0 / 16},
    {"orion2", 10, 35, 0, false, false, 122880000, 7, gainForm::attenuator, 32768, 1},
};
constexpr size_t defaultIndex = 6;
constexpr otherBoardProfile otherBoards[] = {
    {"hermes", 1, 102, 38, 122880000, 4},  {"hermes2", 2, 102, 38, 122880000, 4}, {"angelia", 3, 118, 38, 122880000, 7},
    {"orion", 4, 118, 38, 122880000, 7},   {"orion2", 5, 121, 38, 122880000, 8},  {"hermeslite", 6, 40, 38, 122880000, 4},
    {"saturn", 10, 21, 39, 122880000, 10},
};
constexpr size_t otherDefaultIndex = 6;
constexpr size_t macAt = 3, firmwareAt = 9, boardAt = 10, receiversAt = 19, minorFirmwareAt = 21;
constexpr size_t settingsAt = 11, storedAddressAt = 13, storedMacAt = 17;
constexpr uint8_t statusIdle = 2, statusInUse = 3;
} // namespace

std::span<const boardProfile> boardProfiles() { return boards; }

const boardProfile* findBoard(std::string_view name) {
  for (const boardProfile& b : boards)
    if (name == b.name) return &b;
  return nullptr;
}

const boardProfile& defaultBoard() { return boards[defaultIndex]; }

std::span<const otherBoardProfile> otherBoardProfiles() { return otherBoards; }

const otherBoardProfile* findOtherBoard(std::string_view name) {
  for (const otherBoardProfile& b : otherBoards)
    if (name == b.name) return &b;
  return nullptr;
}

const otherBoardProfile& defaultOtherBoard() { return otherBoards[otherDefaultIndex]; }

bool isDiscoveryRequest(std::span<const uint8_t> datagram) {
  if (datagram.size() != discoveryRequestBytes) return false;
  if (datagram[0] != 0xEF || datagram[1] != 0xFE || datagram[2] != 2) return false;
  return std::all_of(datagram.begin() + 3, datagram.end(), [](uint8_t b) { return b == 0; });
}

bool isOtherDiscoveryRequest(std::span<const uint8_t> datagram) {
  constexpr size_t commandAt = 4; // behind a sequence number, which is 0
  if (datagram.size() != otherDiscoveryBytes || datagram[commandAt] != 2) return false;
  return std::all_of(datagram.begin(), datagram.begin() + commandAt, [](uint8_t b) { return b == 0; }) &&
         std::all_of(datagram.begin() + commandAt + 1, datagram.end(), [](uint8_t b) { return b == 0; });
}

std::array<uint8_t, discoveryAnswerBytes> discoveryAnswer(const boardProfile& board, const macAddress& mac, int receivers,
                                                          bool inUse, const deviceState& stored) {
  std::array<uint8_t, discoveryAnswerBytes> a{};
  a[0] = 0xEF;
  a[1] = 0xFE;
  a[2] = inUse ? statusInUse : statusIdle;
  std::copy(mac.begin(), mac.end(), a.begin() + macAt);
  a[firmwareAt] = board.firmware;
  a[boardAt] = board.id;
  if (board.tellsReceivers) {
    a[receiversAt] = static_cast<uint8_t>(receivers);
    a[minorFirmwareAt] = board.minorFirmware;
    a[settingsAt] = stored.status.value_or(0);
    for (size_t i = 0; i < stored.address.size(); ++i) a[storedAddressAt + i] = stored.address[i].value_or(0);
    for (size_t i = 0; i < stored.macTail.size(); ++i) a[storedMacAt + i] = stored.macTail[i].value_or(0);
  }
  return a;
}

std::array<uint8_t, otherDiscoveryBytes> otherDiscoveryAnswer(const otherBoardProfile& board, const macAddress& mac,
                                                              int receivers, bool inUse) {
  std::array<uint8_t, otherDiscoveryBytes> a{};
  a[4] = inUse ? statusInUse : statusIdle;
  std::copy(mac.begin(), mac.end(), a.begin() + 5);
  a[11] = board.id;
  a[12] = board.version;
  a[13] = board.firmware;
  a[20] = static_cast<uint8_t>(receivers);
  a[21] = 1; // phase words
  return a;
}

} // namespace larch::sim
