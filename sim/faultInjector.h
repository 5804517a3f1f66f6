// Spoils outgoing datagrams on request, as a bad network would.
#pragma once
#include <cstdint>
#include <deque>
#include <set>
#include <vector>
#include "sim/datagramSocket.h"
#include "sim/randomSource.h"

namespace larch::sim {

// Probabilities from 0 to 1 count for each datagram of the stream by itself; the sets name IQ sequence numbers.
struct faultPlan {
  double lose = 0, repeat = 0, reorder = 0, cut = 0, corrupt = 0, delay = 0;
  std::set<uint32_t> loseAt, repeatAt, reorderAt, cutAt, corruptAt, delayAt;
  uint64_t seed = 1;
  size_t delayBy = 5;   // a delayed datagram leaves after this many others
  int cutTo = -1;       // length in bytes, -1: any from 0 to one less than whole
  int corruptByte = -1; // which byte, -1: any
  bool any() const;
};

struct faultCounts {
  uint64_t lost = 0, repeated = 0, reordered = 0, cut = 0, corrupted = 0, delayed = 0, silenced = 0;
};

// Not thread-safe.
class faultInjector {
 public:
  void setPlan(faultPlan plan); // restarts the random generator
  // Everything is swallowed while silent; what was held back is dropped.
  void setSilent(bool on);
  // Takes one datagram and appends what leaves in its place: nothing, itself, itself twice, or held ones with it.
  // isIq: the sets apply.
  void pass(const outgoingDatagram& datagram, bool isIq, uint32_t sequence, std::vector<outgoingDatagram>& out);
  void dropHeld() { held.clear(); }
  bool idle() const { return !active && !silent && held.empty(); } // whatever passes comes out as it is
  const faultCounts& counts() const { return counted; }

 private:
  struct heldDatagram {
    outgoingDatagram datagram;
    size_t wait; // datagrams that still go first
  };
  bool hit(double probability, const std::set<uint32_t>& at, bool isIq, uint32_t sequence);
  void release(std::vector<outgoingDatagram>& out);

  faultPlan plan;
  bool active = false, silent = false;
  randomSource random;
  std::deque<heldDatagram> held;
  faultCounts counted;
};

} // namespace larch::sim
