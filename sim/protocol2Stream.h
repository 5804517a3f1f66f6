// Makes the datagrams that a Protocol 2 radio sends: down-converters, wideband, microphone and status, as the host asks for.
#pragma once
#include <array>
#include <complex>
#include <cstdint>
#include <memory>
#include <vector>
#include "sim/bandScene.h"
#include "sim/protocol2Host.h"
#include "sim/protocol2Options.h"
#include "sim/protocol2Ports.h"
#include "sim/protocol2Receivers.h"
#include "sim/radioOptions.h"
#include "sim/streamClock.h"

namespace larch::sim {

struct p2StreamCounts {
  std::array<uint64_t, p2Sources> made{}; // datagrams by p2Source, those that a fault took away included
  uint64_t clipped = 0;                   // samples or parts of them beyond full scale
  uint64_t iq() const;
};

// Microphone packets, 750 a second, are the radio's own time: all else is put between them. Levels as with Protocol 1.
// Not thread-safe.
class protocol2Stream {
 public:
  static constexpr double statusInterval_s = 0.05; // and at once when an overload begins

  protocol2Stream(const protocol2Options& options, std::shared_ptr<const bandScene> scene);

  void setScene(std::shared_ptr<const bandScene> scene);
  void setClockError(double error_ppm);
  void start(); // sequence numbers from 0; time goes on from where it was
  void configure(const p2HostSettings& settings);
  // Queues what falls due until then and flushes it, a millisecond at a time.
  void make(double untilTrue_s, protocol2Ports& ports, const endpointAddress& peer);
  void skipTo(double trueTime_s);

  double trueTime_s() const { return pace.trueTime_s(); }
  double radioTime_s() const { return pace.radioTime_s(); }
  const p2StreamCounts& counts() const { return counted; }
  uint32_t nextSequence(p2Source s) const { return sequence[static_cast<size_t>(s)]; }

  p2Status status; // overload forces the bits; clipping sets them by itself
  std::array<adcInput, 3> adc{};

 private:
  void makeMicrophone(size_t packets, protocol2Ports& ports);
  void makeReceivers(p2RateGroup& group, size_t packets, protocol2Ports& ports);
  void makeWideband(protocol2Ports& ports);
  void makeStatus(protocol2Ports& ports);
  void renderWideband(size_t count);
  p2Front front() const;
  uint32_t next(p2Source s);

  protocol2Options built;
  double clock_Hz;
  std::shared_ptr<const bandScene> scene;
  p2HostSettings settings;
  streamClock pace; // 48 kHz
  std::vector<p2RateGroup> groups;
  std::array<uint32_t, p2Sources> sequence{};
  p2StreamCounts counted;
  double nextStatus_s = 0, nextWideband_s = 0; // radio time
  uint8_t overload = 0, toldOverload = 0;      // a bit an ADC
  std::vector<double> converterSamples;
  std::vector<int16_t> words;
  std::vector<uint8_t> widebandBytes;
  std::shared_ptr<const bandScene::content> widebandOf; // of a loop: what widebandBytes was made of
  double widebandLevel = 0;
  randomSource widebandRandom;
};

} // namespace larch::sim
