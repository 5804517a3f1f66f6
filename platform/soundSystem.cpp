#include "platform/soundSystem.h"
#include <dlfcn.h>
#include <mutex>
#include <portaudio.h>

namespace larch {
namespace {

// Never destroyed: a stream may be closed while static destructors run.
std::recursive_mutex& guard() {
  static auto* made = new std::recursive_mutex;
  return *made;
}

void ignoreText(const char*) {}
void ignoreError(const char*, int, const char*, int, const char*, ...) {}

// The libraries behind PortAudio print what they look for in vain. They may be absent, so their setters are found by name.
void silence() {
  using textHandler = void (*)(const char*);
  using errorHandler = void (*)(const char*, int, const char*, int, const char*, ...);
  for (const char* name : {"jack_set_error_function", "jack_set_info_function"})
    if (const auto set = reinterpret_cast<void (*)(textHandler)>(dlsym(RTLD_DEFAULT, name))) set(ignoreText);
  if (const auto set = reinterpret_cast<int (*)(errorHandler)>(dlsym(RTLD_DEFAULT, "snd_lib_error_set_handler")))
    set(ignoreError);
}

} // namespace

int startSoundSystem() {
  soundSystemAccess access;
  static bool started = false; // under the guard
  if (started) return paNoError;
  silence();
  const int result = Pa_Initialize();
  started = result == paNoError;
  return result;
}

soundSystemAccess::soundSystemAccess() { guard().lock(); }
soundSystemAccess::~soundSystemAccess() { guard().unlock(); }

} // namespace larch
