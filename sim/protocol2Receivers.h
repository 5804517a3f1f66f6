// The down-converters of a Protocol 2 radio: packed samples of the band scene, made once for all that are tuned alike.
#pragma once
#include <array>
#include <complex>
#include <cstdint>
#include <memory>
#include <vector>
#include "sim/bandScene.h"
#include "sim/protocol2Host.h"
#include "sim/protocol2Options.h"
#include "sim/sceneReceiver.h"
#include "sim/streamClock.h"

namespace larch::sim {

// What a radio does to the scene besides the receiver's own settings.
struct p2Front {
  std::array<double, 3> gain_dB{}; // by ADC: attenuator and antenna
  std::array<double, 3> phase_deg{};
  double clock_Hz = 0; // nominal
  double speed = 1;    // of the clock
};

// The receivers of one rate, whose packets are due at the same instants. Not thread-safe.
class p2RateGroup {
 public:
  static constexpr size_t mostPackets = 45; // of one make()

  p2RateGroup(int rate, const protocol2Options& options, std::shared_ptr<const bandScene> scene);
  void setScene(std::shared_ptr<const bandScene> scene);
  // Payloads of the next `packets` packets of each receiver that is on at this rate, valid until the next call: receiver r's
  // n-th is at payload(r, n). Takes the clock on.
  void make(const p2HostSettings& settings, const p2Front& front, size_t packets);
  std::span<const uint8_t> payload(size_t receiver, size_t packet) const;

  int rate_Hz;
  streamClock clock;
  bool used = false;       // by a receiver
  uint64_t clipped = 0;    // parts beyond full scale
  uint32_t overloaded = 0; // a bit an ADC, since somebody took it

 private:
  struct tuning {
    receiverTuning receiver;
    int adc = 0;
    std::complex<double> factor;
    bool operator==(const tuning&) const = default;
  };
  // packed samples of one tuning
  struct strip {
    tuning tuned;
    std::unique_ptr<sceneReceiver> converter;
    std::vector<uint8_t> bytes;
    size_t first = 0, packets = 0;                    // of `bytes`: where the batch begins, and how many packets it holds in all
    std::shared_ptr<const bandScene::content> played; // of a loop
    size_t clippedInLoop = 0;
  };
  strip& stripFor(const tuning& wanted);
  void render(strip& s, size_t packets);
  void renderLoop(strip& s);

  const protocol2Options& built;
  std::shared_ptr<const bandScene> scene;
  std::vector<std::unique_ptr<strip>> strips;
  size_t stripsInUse = 0;
  std::array<const strip*, p2MaxReceivers> of{};
  std::vector<std::complex<double>> samples;
  uint64_t made = 0; // packets, of each receiver
  uint64_t nextSeed;
};

} // namespace larch::sim
