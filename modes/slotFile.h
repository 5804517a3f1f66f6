// The file of a captured slot, and the thread that writes it.
#pragma once
#include "modes/slotCapture.h"
#include <future>
#include <memory>
#include <optional>
#include <string>

namespace larch {

struct slotRecord {
  std::string path;
  slotSamples samples;
  double frequency_MHz = 0;
};

// The largest real part comes to 32000 of 32768; a silent slot is zeros, and so is padding, also in the record's memory from here
// on. What can't be written is lost without a word. Not rt.
void writeSlot(const slotRecord& record);

// One file at a time is waited for. Belongs to one group.
class slotFileJob {
 public:
  // A disk that hangs keeps a thread and its samples for each slot: more than this many running jobs of one object are refused.
  static constexpr long mostRunning = 8;

  // On a thread of its own. A job that still runs is waited for no longer: it finishes by itself and nobody hears of it.
  void start(slotRecord record);
  // The path when the job has finished, once. What has made it fail is thrown. rt while there is nothing.
  std::optional<std::string> take();

 private:
  std::future<std::string> pending_;
  std::shared_ptr<char> running_ = std::make_shared<char>(); // each running job holds it
};

} // namespace larch
