#include "sim/boardDevices.h"
#include <fmt/format.h>

namespace larch::sim {

namespace {
constexpr uint8_t writeCommand = 0x06;
constexpr uint8_t oldDevice = 0xA8, newDevice = 0xAC, externalDevice = 0xAE;
constexpr int setBias0 = 0x00, setBias1 = 0x10, storeBias0 = 0x20, storeBias1 = 0x30, storeStatus = 0x60;
constexpr int addressStart = 0x80, addressEnd = 0xB0, macStart = 0xC0, macEnd = 0xD0, step = 0x10;
} // namespace

std::string deviceState::addressText() const {
  const auto& a = address;
  return fmt::format("{}.{}.{}.{}", a[0].value_or(0), a[1].value_or(0), a[2].value_or(0), a[3].value_or(0));
}

std::string boardDevices::write(const std::array<uint8_t, 4>& c, problemLog& problems) {
  const auto [command, device, location, value] = c;
  const bool main = device == (firmware < invertedBelow ? oldDevice : newDevice);
  if (!present || command != writeCommand || !(main || device == externalDevice)) {
    problems.add(problem::unknownDevice, fmt::format("{:02x} {:02x} {:02x} {:02x}", command, device, location, value));
    return {};
  }
  if (storedAt && now - *storedAt < storeTime_frames) {
    problems.add(problem::deviceBusy,
                 fmt::format("{:#04x} location {:#04x} {} frames after a store", device, location, now - *storedAt));
    return {};
  }
  return main ? writeMain(location, value, problems) : writeExternal(location, value, problems);
}

std::string boardDevices::store(std::optional<uint8_t>& place, uint8_t value, std::string words) {
  place = value;
  storedAt = now;
  ++written.stores;
  ++written.writes;
  return words;
}

std::string boardDevices::writeMain(int location, uint8_t value, problemLog& problems) {
  const auto bias = static_cast<uint8_t>(firmware < invertedBelow ? ~value : value);
  const auto which = static_cast<size_t>(location & step) / step; // of two neighbours
  switch (location) {
  case setBias0:
  case setBias1:
    written.bias[which] = bias;
    ++written.writes;
    return fmt::format("set bias {}: {}", which, bias);
  case storeBias0:
  case storeBias1: return store(written.storedBias[which], bias, fmt::format("stored bias {}: {}", which, bias));
  case storeStatus: return store(written.status, value, fmt::format("stored status: {:#04x}", value));
  case macStart: return store(written.macTail[0], value, {});
  case macEnd:
    return store(written.macTail[1], value, fmt::format("stored MAC tail: {:02x}:{:02x}", written.macTail[0].value_or(0), value));
  default: break;
  }
  if (location >= addressStart && location <= addressEnd && location % step == 0) {
    store(written.address[static_cast<size_t>((location - addressStart) / step)], value, {});
    return location == addressEnd ? "stored address: " + written.addressText() : std::string();
  }
  problems.add(problem::unknownDevice, fmt::format("no location {:#04x}", location));
  return {};
}

std::string boardDevices::writeExternal(int location, uint8_t value, problemLog& problems) {
  if (location == setBias0) {
    written.externalBias = value;
    ++written.writes;
    return fmt::format("set external bias: {}", value);
  }
  if (location == storeBias0) return store(written.storedExternalBias, value, fmt::format("stored external bias: {}", value));
  problems.add(problem::unknownDevice, fmt::format("external device has no location {:#04x}", location));
  return {};
}

} // namespace larch::sim
