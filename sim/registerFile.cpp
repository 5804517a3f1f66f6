#include "sim/registerFile.h"
#include <fmt/format.h>

namespace larch::sim {

namespace {
constexpr int rates_Hz[] = {48000, 96000, 192000, 384000};

uint32_t word(const std::array<uint8_t, 4>& b) {
  return static_cast<uint32_t>(b[0]) << 24 | static_cast<uint32_t>(b[1]) << 16 | static_cast<uint32_t>(b[2]) << 8 | b[3];
}

// the receiver that a register tunes, -1 for the other registers
int tunedReceiver(int address) {
  if (address >= 2 && address <= 8) return address - 2;
  if (address >= 18 && address <= 42) return address - 11;
  return -1;
}
} // namespace

double receiveGain_dB(const hostSettings& s, gainForm form, double lowest_dB) {
  constexpr uint8_t secondFormBit = 0x40, txGainValid = 0x80;
  constexpr int codeMask = 0x3F, attenuatorMask = 0x1F, highestCode = 63, amplifierSteps = 32;
  const int code = s.gainByte & attenuatorMask;
  switch (form) {
  case gainForm::attenuator: return -code;
  case gainForm::liteSecond:
    if (s.mox && (s.txGainByte & txGainValid) != 0) return lowest_dB + (s.txGainByte & codeMask);
    if ((s.gainByte & secondFormBit) != 0) return lowest_dB + (s.gainByte & codeMask);
    [[fallthrough]]; // the second board understands the first one's code, too
  case gainForm::liteFirst: return lowest_dB + highestCode - code - (s.lnaOn ? amplifierSteps : 0);
  }
  return 0;
}

bool registerFile::write(const std::array<uint8_t, 5>& c, double clock_Hz, problemLog& problems) {
  const registerWrite entry{frameCount++, c};
  order.push_back(entry);
  if (order.size() > historyLimit) order.pop_front();
  decoded.mox = entry.mox();
  if (entry.queued()) {
    queue.push_back(entry);
    if (queue.size() > historyLimit) queue.pop_front();
    return true;
  }
  const int address = entry.address();
  if (address >= p1Registers) {
    problems.add(problem::unknownRegister, fmt::format("C0 {:#04x}", c[0]));
    return false;
  }
  const auto index = static_cast<size_t>(address);
  const std::array<uint8_t, 4> value{c[1], c[2], c[3], c[4]};
  const bool news = counts[index]++ == 0 || values[index] != value;
  if (!news) return false;
  values[index] = value;
  decode(address);
  check(address, clock_Hz, problems);
  return true;
}

void registerFile::check(int address, double clock_Hz, problemLog& problems) const {
  const std::array<uint8_t, 4>& b = values[static_cast<size_t>(address)];
  if (address == 0 && b[0] > 3) problems.add(problem::unknownRate, fmt::format("code {}", b[0]));
  if ((address == 1 || tunedReceiver(address) >= 0) && word(b) > clock_Hz / 2)
    problems.add(problem::frequencyTooHigh, fmt::format("register {}: {} Hz", address, word(b)));
}

void registerFile::decode(int address) {
  const std::array<uint8_t, 4>& b = values[static_cast<size_t>(address)];
  const int receiver = tunedReceiver(address);
  if (receiver >= 0) {
    decoded.rxFrequency_Hz[static_cast<size_t>(receiver)] = word(b);
    return;
  }
  switch (address) {
  case 0:
    decoded.sampleRate_Hz = rates_Hz[b[0] & 3];
    decoded.filterBits = b[1] >> 1;
    decoded.lnaOn = (b[2] & 0x08) != 0;
    decoded.secondAntenna = (b[2] & 0x20) != 0;
    decoded.receivers = (b[3] >> 3) + 1;
    decoded.duplex = (b[3] & 4) != 0;
    break;
  case 1: decoded.txFrequency_Hz = word(b); break;
  case 9:
    decoded.drive = b[0];
    decoded.disableTr = (b[1] & 0x04) != 0;
    decoded.enablePa = (b[1] & 0x08) != 0;
    decoded.tune = (b[1] & 0x10) != 0;
    break;
  case 10: decoded.gainByte = b[3]; break;
  case 14:
    for (size_t r = 0; r < decoded.adc.size(); ++r) decoded.adc[r] = b[r / 4] >> (r % 4 * 2) & 3;
    decoded.txGainByte = b[2];
    break;
  case 15: decoded.cwInternal = (b[0] & 1) != 0; break;
  case 16: decoded.cwHangTime_ms = b[0] << 2 | (b[1] & 3); break;
  default: break;
  }
}

void registerFile::clearHistory() {
  order.clear();
  queue.clear();
}

const char* registerName(int address) {
  if (address == 0) return "rate, filters, receivers";
  if (address == 1) return "transmit frequency";
  if (tunedReceiver(address) >= 0) return "receiver frequency";
  switch (address) {
  case 9: return "drive, power amplifier";
  case 10: return "receive gain";
  case 14: return "ADC assignment, transmit gain";
  case 15: return "internal keyer";
  case 16: return "keyer hang time";
  case p1QueuedAddress: return "device write";
  default: break;
  }
  return address >= 0 && address < p1Registers ? "unused" : "?";
}

std::string describeRegister(const registerWrite& w) {
  const int address = w.address();
  const std::array<uint8_t, 4> b{w.c[1], w.c[2], w.c[3], w.c[4]};
  std::string line = fmt::format("{} {}{}: ", address, registerName(address), w.mox() ? " (MOX)" : "");
  const int receiver = tunedReceiver(address);
  if (receiver >= 0) return line + fmt::format("receiver {} at {} Hz", receiver, word(b));
  switch (address) {
  case 0:
    return line + fmt::format("{} Hz, {} receivers, filters {:#04x}{}{}", rates_Hz[b[0] & 3], (b[3] >> 3) + 1, b[1] >> 1,
                              (b[2] & 0x08) != 0 ? ", amplifier" : "", (b[2] & 0x20) != 0 ? ", second antenna" : "");
  case 1: return line + fmt::format("{} Hz", word(b));
  case 9:
    return line + fmt::format("drive {}{}{}{}", b[0], (b[1] & 0x04) != 0 ? ", T/R relay off" : "",
                              (b[1] & 0x08) != 0 ? ", PA on" : "", (b[1] & 0x10) != 0 ? ", tune" : "");
  case 10: return line + fmt::format("code {:#04x}", b[3]);
  case 14: return line + fmt::format("ADCs {:#04x} {:#04x}, transmit gain code {:#04x}", b[0], b[1], b[2]);
  case 15: return line + ((b[0] & 1) != 0 ? "on" : "off");
  case 16: return line + fmt::format("{} ms", b[0] << 2 | (b[1] & 3));
  default: break;
  }
  return line + fmt::format("{:02x} {:02x} {:02x} {:02x}", b[0], b[1], b[2], b[3]);
}

} // namespace larch::sim
