// Puts what a simulated radio transmits back on the band, later.
#pragma once
#include <memory>
#include <string>
#include <vector>
#include "sim/bandScene.h"
#include "sim/transmitSignal.h"

namespace larch::sim {

// When and where a frame came in.
struct transmitMoment {
  double now_s = 0;                 // true time of the stream's next sample
  double rate_Hz = transmitRate_Hz; // of the transmit samples in true time
  double frequency_Hz = 0;          // true radio frequency of the carrier
  bool mirrored = false;            // sent as an image in an odd Nyquist zone, where the spectrum is turned round
};

// Samples are played one after the other, the first one delay_s after it came; a lost datagram leaves a hole. When the host
// falls so far behind that a sample's time has passed, the delay begins anew; what it sends more than longestAhead_s too early
// is dropped.
// Each piece of a transmission on one frequency is a signal of its own in the scene, taken out after it was played. The times
// are those of one radio's stream: other radios on the same scene count their own. Not thread-safe; the scene's readers may run.
class transmitEcho {
 public:
  static constexpr double shortestDelay_s = 0.05, longestAhead_s = 2;

  // level: of a full-scale transmission
  transmitEcho(std::shared_ptr<bandScene> scene, double delay_s, double level_dBFS);
  ~transmitEcho();
  transmitEcho(const transmitEcho&) = delete;
  transmitEcho& operator=(const transmitEcho&) = delete;

  void add(const transmitFrame& frame, const transmitMoment& when);
  void skip(size_t samples, const transmitMoment& when); // lost on the way
  void restart();                                        // the stream begins: the next frame starts the count

 private:
  class piece;
  bool settle(const transmitMoment& when, bool on);
  void finish();
  void forget(double now_s);

  std::shared_ptr<bandScene> scene;
  double delay_s, level_dBFS;
  bool counting = false;
  double next_s = 0; // true time at which the next sample is played
  transmitMoment placed;
  std::shared_ptr<piece> open;                // the piece that grows
  std::vector<std::shared_ptr<piece>> played; // all that are in the scene
};

} // namespace larch::sim
