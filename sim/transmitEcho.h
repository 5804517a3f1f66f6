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
// Each frequency that something waits on is a signal in the scene, taken out after the last of it was played. There are at most
// mostFrequencies of them; what is sent on one more is silence. What waits takes 0.4 MB a second, at most delay_s +
// longestAhead_s of it; what was played goes at once. The times are those of one radio's stream: other radios on the same scene
// count their own. Not thread-safe; the scene's readers may run.
class transmitEcho {
 public:
  static constexpr double shortestDelay_s = 0.05, longestAhead_s = 2;
  static constexpr size_t mostFrequencies = 64;

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
  bool tune(const transmitMoment& when);

  std::shared_ptr<bandScene> scene;
  double delay_s, level_dBFS;
  bool counting = false;
  double next_s = 0;                           // true time at which the next sample is played
  std::shared_ptr<piece> open;                 // the one that grows; none while nothing is on the air
  double angle = 0;                            // carrier phase of what is sent against that of the open one
  std::vector<std::shared_ptr<piece>> waiting; // all that are in the scene
};

} // namespace larch::sim
