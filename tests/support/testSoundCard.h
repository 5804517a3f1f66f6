// The sound card of the tests, and the choice between it and a machine without any.
#pragma once
#include "tests/support/larchloop/larchloop.h"
#include <cstdint>
#include <string>
#include <vector>

namespace larch::test {

// The sound library reads its configuration once a process: the first choice stands, and these say whether it is the wanted one.
bool useSoundCards(); // devices loop, tight, mic44, fast and default
bool useNoSoundCard();

// Controls of one bus of the card; needs useSoundCards() and that a device has been opened once or listed.
class soundBusControl {
 public:
  explicit soundBusControl(std::string bus);
  void ppm(double value) const;
  void stall(int milliseconds) const;
  void busy(bool on) const;
  int64_t now() const; // frames of 48000 Hz
  std::vector<float> tap(int64_t at, int count) const;
  void feed(int64_t at, const std::vector<float>& sound) const;
  int openStreams() const;
  int period() const; // frames, of the stream that was prepared last

 private:
  std::string bus_;
};

} // namespace larch::test
