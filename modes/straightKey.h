// The straight key: a carrier that follows the operator's hand.
#pragma once
#include "dsp/buff.h"
#include "modes/keyEdge.h"
#include <atomic>

namespace larch {

// 48000 samples/s; rt. The key is moved and read on any thread: a mode is keyed on its own group until a transceiver takes it.
class straightKey {
 public:
  static constexpr double level = 0.99; // required: not the level of keyed text

  void press() { move(true); }
  // required: releasing a key that is up sends a falling edge all the same.
  void release() { move(false); }
  bool isDown() const { return isDown(moves_.load(std::memory_order_relaxed)); }

  // On the transceiver's group. Fills the block with the carrier, real part only, and returns true while the key is down or an
  // edge is under way; else leaves it alone. hardEdges: 1.0 or nothing, for a radio that shapes the edges itself.
  bool produce(const cbuff& out, bool hardEdges);

 private:
  static bool isDown(uint32_t moves) { return moves & 1; }
  void move(bool down);
  void follow();
  double nextRise(); // level at the next sample of a rising edge, and behind it

  std::atomic<uint32_t> moves_{0}; // their number * 2, and where the last one left the key; relaxed: it stands for itself
  uint32_t followed_ = 0;          // the moves that the output knows of
  bool down_ = false;
  int32_t rampPosition_ = keyEdgeLength; // the edge is over: nothing is sent before the first press
};

} // namespace larch
