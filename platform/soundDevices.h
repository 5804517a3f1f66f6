// The sound devices that the machine has, as the device lists ask for them.
#pragma once
#include <cstdint>
#include <string>

namespace larch {

struct soundDeviceInfo {
  std::string name;
  int32_t inputChannels = 0, outputChannels = 0; // the most it has
};

// Indexes run from 0 to count() - 1. Off the signal path.
class soundDeviceSource {
 public:
  virtual ~soundDeviceSource() = default;
  virtual int32_t count() = 0; // negative: an error number
  virtual soundDeviceInfo info(int32_t device) = 0;
  virtual bool canRecord(int32_t device, double rate) = 0; // one channel of 32-bit float at low latency
  virtual bool canPlay(int32_t device, double rate) = 0;   // two channels
  virtual int32_t defaultInput() = 0;                      // negative: none
  virtual int32_t defaultOutput() = 0;
};

// PortAudio's devices; starts it at first use. Never destroyed.
soundDeviceSource& systemSoundDevices();

} // namespace larch
