#include "platform/soundDevices.h"
#include "platform/soundSystem.h"
#include <portaudio.h>

namespace larch {
namespace {

class portAudioDevices : public soundDeviceSource {
 public:
  int32_t count() override { return Pa_GetDeviceCount(); }
  soundDeviceInfo info(int32_t device) override {
    const PaDeviceInfo* i = Pa_GetDeviceInfo(device);
    return i ? soundDeviceInfo{i->name, i->maxInputChannels, i->maxOutputChannels} : soundDeviceInfo{};
  }
  bool canRecord(int32_t device, double rate) override {
    const PaDeviceInfo* i = Pa_GetDeviceInfo(device);
    return i && works(device, 1, i->maxInputChannels, i->defaultLowInputLatency, rate, true);
  }
  bool canPlay(int32_t device, double rate) override {
    const PaDeviceInfo* i = Pa_GetDeviceInfo(device);
    return i && works(device, 2, i->maxOutputChannels, i->defaultLowOutputLatency, rate, false);
  }
  int32_t defaultInput() override { return Pa_GetDefaultInputDevice(); }
  int32_t defaultOutput() override { return Pa_GetDefaultOutputDevice(); }

 private:
  static bool works(int32_t device, int channels, int most, double latency_s, double rate, bool input) {
    if (channels > most) return false; // PortAudio would say the same, and print it
    const PaStreamParameters p{device, channels, paFloat32, latency_s, nullptr};
    soundSystemAccess access;
    return Pa_IsFormatSupported(input ? &p : nullptr, input ? nullptr : &p, rate) == paFormatIsSupported;
  }
};

} // namespace

soundDeviceSource& systemSoundDevices() {
  startSoundSystem();
  static auto* made = new portAudioDevices;
  return *made;
}

} // namespace larch
