#include "audio/deviceLists.h"
#include "audio/audioOutputStream.h"
#include "runtime/log.h"

namespace larch {
namespace {

constexpr double preferredRate = 48000, secondRate = 44100; // Hz

int32_t inputRate(soundDeviceSource& source, int32_t device) {
  for (const double rate : {preferredRate, secondRate})
    if (source.canRecord(device, rate)) return static_cast<int32_t>(rate);
  return 0;
}

} // namespace

std::unique_ptr<inputDeviceList> makeInputList(soundDeviceSource& source) {
  auto list = std::make_unique<inputDeviceList>();
  const int32_t count = source.count();
  if (count < 0) logError("Pa_CountDevices returned {}", count);
  list->entries.push_back(std::make_unique<audioInputDevice>("None", -1, audioRate));
  for (int32_t i = 0; i < count; i++) {
    const soundDeviceInfo info = source.info(i);
    const int32_t rate = info.inputChannels > 0 ? inputRate(source, i) : 0;
    if (rate == 0) continue;
    list->entries.push_back(std::make_unique<audioInputDevice>(info.name, i, rate));
    if (i == source.defaultInput()) list->defaultIndex = static_cast<int32_t>(list->entries.size()) - 1;
  }
  return list;
}

std::vector<outputDevice> makeOutputList(soundDeviceSource& source) {
  std::vector<outputDevice> list{{"None", -1, audioRate}};
  const int32_t count = source.count();
  if (count < 0) logError("ERROR: Pa_CountDevices returned {}", count);
  for (int32_t i = 0; i < count; i++) {
    const soundDeviceInfo info = source.info(i);
    if (info.outputChannels > 0 && source.canPlay(i, preferredRate)) list.push_back({info.name, i, audioRate});
  }
  const size_t plain = list.size();
  for (size_t i = 1; i < plain; i++)
    list.push_back({list[i].name + "-L", list[i].id + audioOutputStream::lowLatencyOffset, list[i].sampleRate});
  return list;
}

int32_t defaultOutputOf(soundDeviceSource& source, const std::vector<outputDevice>& list) {
  const int32_t wanted = source.defaultOutput();
  for (const outputDevice& d : list)
    if (d.id == wanted) return wanted; // "None" has -1, as has a machine without a default
  return -1;
}

const inputDeviceList& inputDevices() {
  static const inputDeviceList* made = makeInputList(systemSoundDevices()).release();
  return *made;
}

const std::vector<outputDevice>& outputDevices() {
  static const auto* made = new std::vector<outputDevice>(makeOutputList(systemSoundDevices()));
  return *made;
}

int32_t defaultOutputDevice() { return defaultOutputOf(systemSoundDevices(), outputDevices()); }

} // namespace larch
