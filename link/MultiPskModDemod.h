// The link that makes a transceiver the radio of the outside program MultiPSK: a small server on a TCP port.
#pragma once
#include "link/multiPskEvents.h"
#include "modes/modDemod.h"
#include <atomic>

namespace larch {

class multiPskServer;
struct multiPskRequest;

// Sends what the transceiver receives as samples, tells of its frequency and takes one from the client; transmits nothing. Anyone
// who reaches the port may tune: there is no password. What a client wants is done on the transceiver's group in the order in
// which it comes, so that these properties are written there, or on this object's group while it serves no transceiver. The port
// stays open until the object's end, also while another mode has taken its place.
class MultiPskModDemod : public modDemod {
 public:
  explicit MultiPskModDemod(std::shared_ptr<syncTask> group);
  ~MultiPskModDemod() override;

  // Audio: the real part. rt but for the wake-up of the network thread.
  buff<float> demodulate(const cbuff& block) override;
  void vfoChanged(int32_t frequency) override;
  void attached() override;  // the first one opens the port
  bool takesSamples() const; // the next block won't be dropped for what is still being written

  property<bool> connected{false}; // a client is connected: a report
  property<bool> sending{false};   // samples are streaming to the client
  property<int32_t> port{50001};   // TCP, taken when a transceiver takes the mode; then the one in use

 private:
  multiPskEvents whatToDo();
  void clientChanged(uint32_t client, bool here);
  void obey(const multiPskRequest& request, const modDemodOwner& held);

  const std::shared_ptr<multiPskServer> server_;
  std::atomic<uint32_t> client_{0}; // the server's number of it; relaxed: written and read on one group after another
  double gain_;                     // the signal's
};

} // namespace larch
