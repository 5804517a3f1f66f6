// One of the many channels that the PSK mode listens on, as the host sees it.
#pragma once
#include "modes/CPSKDet.h"
#include "modes/hostEvents.h"
#include "runtime/property.h"

namespace larch {

// The low three bits of a mode: 0 BPSK, 1 QPSK; 8: 62.5 baud, 16: 125 baud, neither: 31.25 baud.
struct pskMode {
  int32_t value;
  const char* name;
};
constexpr pskMode pskModes[] = {{0, "PSK31"}, {8, "PSK63"}, {16, "PSK125"}, {1, "QPSK31"}, {9, "QPSK63"}, {17, "QPSK125"}};

// The properties live on the mode's group; detector and lifeCount are the signal's: see PskModDemod. One that the host creates
// itself belongs to no mode and detects nothing.
class PskDetector : public asyncObject {
 public:
  // lifeCount: of a channel that the operator or a decoded text claims; of one that has just been given a signal
  static constexpr int32_t claimedBlocks = 200, signalBlocks = 100;

  using asyncObject::asyncObject;

  // Once, by the mode: one of pskModes and the channel's frequency in Hz.
  void configure(const pskMode& mode, int32_t frequency);
  int32_t mode() const { return mode_; }

  // The signal's. Hz, the AFC included; text for the host; the channel is given a new signal, of which the host is told. rt.
  int32_t frequency() const { return detector.afc.rxFrequency; }
  void tellText(const char* characters, int32_t count);
  void assign(int32_t frequency, int32_t blocks);

  CPSKDet detector;
  int32_t lifeCount = 0; // blocks that the channel stays claimed

  property<int32_t> freq;              // Hz
  property<int32_t> signalStrength{0}; // the host's
  property<int32_t> activity{0};       // the host's: steers which channel a new signal gets
  property<std::string> Mode;          // its name

  hostText newChars = nullptr;
  hostInt32 reset = nullptr; // always 1

 private:
  int32_t mode_ = 0;
};

// For the host's poll: some characters of one block. rt.
void postText(asyncObject& object, hostText function, const char* characters, int32_t count);

} // namespace larch
