// The process's two lists of sound devices, made once and kept for ever.
#pragma once
#include "audio/audioInputDevice.h"
#include "platform/soundDevices.h"
#include <memory>
#include <string>
#include <vector>

namespace larch {

// Entry 0 is "None": no device, silence. An entry's index is the value that the host sees.
struct inputDeviceList {
  int32_t noneIndex = 0;
  int32_t defaultIndex = 0; // the system's default input when it is in the list
  std::vector<std::unique_ptr<audioInputDevice>> entries;
};

struct outputDevice {
  std::string name;
  int32_t id = -1; // -1: none; 0 to 999: the sound library's device; 1000 more: the same with the least latency
  int32_t sampleRate = 48000;
};

// A device is listed when it takes one channel at 48000 Hz or else at 44100 Hz.
std::unique_ptr<inputDeviceList> makeInputList(soundDeviceSource& source);
// A device is listed when it takes two channels at 48000 Hz; each has a second entry "NAME-L" behind all plain ones.
std::vector<outputDevice> makeOutputList(soundDeviceSource& source);

// The id of the system's default output when it is in `list`, else -1.
int32_t defaultOutputOf(soundDeviceSource& source, const std::vector<outputDevice>& list);

// The machine's lists. The first call makes them, at library start for the inputs; afterwards any thread reads them without a
// lock. Devices that come later need a new process.
const inputDeviceList& inputDevices();
const std::vector<outputDevice>& outputDevices();
int32_t defaultOutputDevice(); // of the machine's list

} // namespace larch
