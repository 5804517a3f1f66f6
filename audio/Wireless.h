// What the host sees of the sound system: the two device lists and the microphone equaliser's points.
#pragma once
#include "dsp/buff.h"
#include "runtime/ValueLabelItem.h"
#include "runtime/asyncCollection.h"
#include "runtime/calibLine.h"
#include <atomic>

namespace larch {

class Wireless : public asyncObject {
 public:
  static constexpr int32_t eqRows = 9;

  // With a group of its own on the pool of `group`. Also becomes the one that current() gives. Host's thread.
  static std::shared_ptr<Wireless> create(const std::shared_ptr<syncTask>& group);
  // Any thread: the last one created, null when there is none (any more).
  static std::shared_ptr<Wireless> current();

  explicit Wireless(const std::shared_ptr<syncTask>& group); // use create()

  // On the group: nine flat points if the host has given none, and from now on each change of the first nine is counted.
  void Init();

  asyncCollection<ValueLabelItem> outputDevices;     // value: the id of the output; label: its name
  asyncCollection<ValueLabelItem> inputDevices;      // value: the index in the list of inputs
  asyncPersistantCollection<calibLine> DefaultMicEQ; // inp: hertz, ascending; outp: linear gain

  std::atomic<int32_t> micEqRevision{0}; // counts changes of the points; relaxed: readers only compare it with what they saw

 private:
  void watch(const std::shared_ptr<calibLine>& row);
};

constexpr int32_t micEqBins = 1024;
constexpr double micEqBinWidth = 23.4375; // Hz: 24000 / 1024

// The current Wireless's revision, -1 without one. Any thread, rt.
int32_t micEqRevision();

// The equaliser's gain at bins of 23.4375 Hz: 1024 values in a new buffer, all 1 without a Wireless, with fewer than nine points
// or with a null one. Linear between points, the last segment going on; points at equal frequencies give what the division
// gives. Any thread, not rt.
void buildMicEq(buff<float>& out);

} // namespace larch
