// The process's one sound library: started quietly, opened and closed by one thread at a time.
#pragma once
#include "platform/threadClass.h"

namespace larch {

// Starts PortAudio if that hasn't happened yet and keeps ALSA's and JACK's messages off stderr for good. Any thread, off the
// signal path. Returns 0 or PortAudio's error. Never stopped: streams may be open while the process ends.
int startSoundSystem();

// PortAudio's calls that open, start, stop or close aren't safe from two threads, and they take long. While this object lives
// the calling thread has them to itself and runs at the ordinary scheduling class. May be nested. Never in a callback.
class soundSystemAccess {
 public:
  soundSystemAccess();
  ~soundSystemAccess();
  soundSystemAccess(const soundSystemAccess&) = delete;
  soundSystemAccess& operator=(const soundSystemAccess&) = delete;

 private:
  ordinaryScheduling scheduling_; // lowered before the wait, raised again after the lock is free
};

} // namespace larch
