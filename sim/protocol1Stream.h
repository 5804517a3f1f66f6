// Makes the datagrams that a Protocol 1 radio sends: IQ and wideband, as the host's registers ask for.
#pragma once
#include <array>
#include <complex>
#include <cstdint>
#include <memory>
#include <vector>
#include "sim/bandScene.h"
#include "sim/faultInjector.h"
#include "sim/protocol1Codec.h"
#include "sim/radioOptions.h"
#include "sim/registerFile.h"
#include "sim/sceneReceiver.h"
#include "sim/streamClock.h"

namespace larch::sim {

struct streamCounts {
  uint64_t iq = 0, wideband = 0; // datagrams made, those that a fault then took away included
  uint64_t clipped = 0;          // real or imaginary parts beyond full scale
};

// Levels: a signal of L dBFS at gain G is on the wire with the amplitude 10^((L + G) / 20) of full scale, 8388607 counts in the
// IQ stream and widebandFullScale counts in the wideband stream. Not thread-safe.
class protocol1Stream {
 public:
  static constexpr int maxReceivers = 8;
  static constexpr size_t maxBatch = 32; // IQ datagrams of one call of make()

  protocol1Stream(const radioOptions& options, std::shared_ptr<const bandScene> scene);

  void setScene(std::shared_ptr<const bandScene> scene);
  const bandScene& played() const { return *scene; }
  void start(bool iq, bool wideband); // sequence numbers from 0; time goes on from where it was
  // Takes effect with the next datagram. gainKnown: the host has written its gain register.
  void configure(const hostSettings& settings, bool gainKnown);
  // Makes `count` IQ datagrams, at most maxBatch, with the wideband blocks that fall between them, and appends what the
  // faults leave of them.
  void make(size_t count, std::vector<outgoingDatagram>& out);

  size_t samplesPerDatagram() const { return 2 * p1SamplesPerFrame(receivers); }
  int receiversInFrames() const { return receivers; }
  double gain_dB() const { return gain; }
  const streamCounts& counts() const { return made; }
  uint32_t nextIqSequence() const { return iqSequence; }

  streamClock clock;
  faultInjector faults;
  double utcAtZero_s = 0; // of the clock's true time, within an hour
  boardStatus status; // adcOverload forces the bit; clipping sets it by itself
  std::array<adcInput, 4> adc{};

 private:
  void makeIq(size_t index, size_t samples, std::vector<outgoingDatagram>& out);
  void makeWideband(double start_s, std::vector<outgoingDatagram>& out);
  void renderAll(size_t samples);
  void shrink(std::complex<double>* z, size_t samples);

  radioOptions built;
  double clock_Hz;
  int owned; // receivers of the board
  int widebandFullScale;
  std::shared_ptr<const bandScene> scene;
  hostSettings settings;
  double gain = 0;
  int receivers = 1, asked = 1; // in the frames, and as the host wants
  size_t lag = 0;
  bool iqOn = false, widebandOn = false, overloadSeen = false;
  uint32_t iqSequence = 0, widebandSequence = 0;
  int statusGroup = 0;
  double nextWideband_s = 0;
  streamCounts made;
  std::vector<sceneReceiver> converters;
  std::vector<std::vector<std::complex<double>>> samplesOf;
  std::vector<double> converterSamples;
  randomSource widebandRandom;
};

} // namespace larch::sim
