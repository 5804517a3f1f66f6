// Received text on the process's standard output.
#pragma once
#include "modes/rttyDecoder.h"
#include "runtime/mpscQueue.h"
#include <concurrentqueue.h> // before the semaphore
#include <lightweightsemaphore.h>
#include <string>

namespace larch {

// The metrics of a phase that has moved as a line of six; "#" and the drift before a character when it is above 2; the character.
std::string consoleText(const rttyPeriod& period);

// All decoders of the process write through one thread of its own, so that a reader that has stopped holds up no radio: what no
// longer fits into the queue is lost. Made once and never destroyed: the thread may wait in a write while the process ends.
class rttyConsole {
 public:
  static constexpr uint32_t depth = 256; // periods of each thread that posts

  static rttyConsole& shared(); // the first call makes the thread: not rt

  void post(const rttyPeriod& period); // any thread; rt once the calling thread has a ring

 private:
  rttyConsole();
  void run();

  mpscQueue<rttyPeriod, depth> queue_;
  moodycamel::LightweightSemaphore waiting_;
};

} // namespace larch
