#include "radio/HpsdrRadio.h"

namespace larch {
namespace {

constexpr uint8_t writeAddress = 0xfa, writeCommand = 0x06; // C0 and C1 of every write
constexpr uint8_t oldDevice = 0xa8, newDevice = 0xac, externalDevice = 0xae;
constexpr int32_t newFirmware = 60;
constexpr int32_t changeDelay = 4, storeDelay = 40; // frames
constexpr uint8_t storeBias0 = 0x20, storeBias1 = 0x30, storeExternal = 0x20, status = 0x60, addressStart = 0x80, macStart = 0xc0,
                  nextLocation = 0x10;

uint8_t byteOf(int32_t value, int index) { return static_cast<uint8_t>(static_cast<uint32_t>(value) >> (8 * index)); }

} // namespace

// Old firmware has another device, which takes the bias inverted.
uint8_t HpsdrRadio::biasDevice() const { return FwVersion.value < newFirmware ? oldDevice : newDevice; }
uint8_t HpsdrRadio::biasValue(int32_t bias) const { return static_cast<uint8_t>(FwVersion.value < newFirmware ? ~bias : bias); }

void HpsdrRadio::queueCommand(uint8_t device, uint8_t location, uint8_t value, int32_t delay) {
  commandQueue.push_back({writeAddress, {writeCommand, device, location, value}, delay});
}

void HpsdrRadio::biasChanged(int32_t bias, uint8_t location) {
  if (biasEnabled.value) queueCommand(biasDevice(), location, biasValue(bias), changeDelay);
}

void HpsdrRadio::externalBiasChanged() {
  if (biasEnabled.value) queueCommand(externalDevice, 0x00, byteOf(paExtBias0.value, 0), changeDelay);
}

void HpsdrRadio::writeBias() {
  if (!biasEnabled.value) return;
  queueCommand(biasDevice(), storeBias0, biasValue(paBias0.value), storeDelay);
  queueCommand(biasDevice(), storeBias1, biasValue(paBias1.value), storeDelay);
}

void HpsdrRadio::writeExtBias() {
  if (biasEnabled.value) queueCommand(externalDevice, storeExternal, byteOf(paExtBias0.value, 0), storeDelay);
}

void HpsdrRadio::writeIP(int32_t address) {
  for (int i = 0; i < 4; i++)
    queueCommand(biasDevice(), static_cast<uint8_t>(addressStart + i * nextLocation), byteOf(address, 3 - i), storeDelay);
}

void HpsdrRadio::writeMac(int32_t lastTwoBytes) {
  for (int i = 0; i < 2; i++)
    queueCommand(biasDevice(), static_cast<uint8_t>(macStart + i * nextLocation), byteOf(lastTwoBytes, 1 - i), storeDelay);
}

void HpsdrRadio::writeStatus(int32_t value) { queueCommand(biasDevice(), status, byteOf(value, 0), storeDelay); }

} // namespace larch
