// The straight key: a carrier that follows the operator's hand.
#pragma once
#include "dsp/buff.h"
#include "modes/keyEdge.h"

namespace larch {

// Runs on the transceiver's group; rt. 48000 samples/s.
class straightKey {
 public:
  static constexpr double level = 0.99; // required: not the level of keyed text

  void press();
  // required: releasing a key that is up sends a falling edge all the same.
  void release();
  bool isDown() const { return down_; }

  // Fills the block with the carrier, real part only, and returns true while the key is down or an edge is under way; else leaves
  // it alone. hardEdges: 1.0 or nothing, for a radio that shapes the edges itself.
  bool produce(const cbuff& out, bool hardEdges);

 private:
  double nextRise(); // level at the next sample of a rising edge, and behind it

  bool down_ = false;
  int32_t rampPosition_ = keyEdgeLength; // the edge is over: nothing is sent before the first press
};

} // namespace larch
