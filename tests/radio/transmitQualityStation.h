// A whole transmitting station on one thread: a microphone that is spoken into by hand, a transceiver, the Protocol 1 radio, and
// a simulated radio on loopback that keeps what it is given to transmit. All time is the simulated radio's.
#pragma once
#include "audio/deviceLists.h"
#include "modes/modDemod.h"
#include "tests/radio/handTurnedRadio.h"
#include <cmath>
#include <complex>
#include <functional>

namespace larch::test {

using cdouble = std::complex<double>;

// An input device without a sound card behind it, at the end of the process's list: what is recorded on it by hand is what a
// transceiver that has chosen it hears, exactly, 2048 samples later.
struct handMicrophone {
  static constexpr int32_t lag = 2048;
  audioInputDevice* device = nullptr;
  int32_t index = 0;

  static const handMicrophone& get() {
    static const handMicrophone made = [] {
      auto& entries = const_cast<inputDeviceList&>(inputDevices()).entries;
      entries.push_back(std::make_unique<audioInputDevice>("by hand", -1, 48000));
      return handMicrophone{entries.back().get(), static_cast<int32_t>(entries.size()) - 1};
    }();
    return made;
  }
};

class transmittingStation : public handTurnedRadio {
 public:
  struct plan {
    int32_t vfo = 14'100'000; // Hz; the zone of the converter that it lies in decides about the order of the words
    bool coarseDrive = false; // sixteen levels in the board, the rest by the samples
    int32_t drive = 255;
  };
  using sound = std::function<double(int64_t)>; // the microphone's sample n at 48 kHz, 1: full scale

  explicit transmittingStation(const plan& wanted) {
    radio->HLite2Gain.set(wanted.coarseDrive);
    oddZone_ = wanted.vfo / (radio->clockFrequency.value / 2) % 2 != 0;
    add(wanted.vfo);
    transceiver->drive.set(wanted.drive);
    transceiver->audioInput.set(handMicrophone::get().index);
    start();
    board->recordTransmit(true);
    key(true); // silence without a mode: the frequency goes round before anything is sent on it
    run(0.1);
    key(false);
    run(0.2);
  }

  // With the host's transmit filter, Hz.
  void use(const std::shared_ptr<modDemod>& mode, int32_t low = 200, int32_t high = 2900) {
    transceiver->setModulation(mode);
    transceiver->setTxFilter(low, high);
    settle();
  }
  void speak(sound voice) { voice_ = std::move(voice); }

  void key(bool on) {
    transceiver->ptt.set(on);
    settle();
  }
  // Lets the radio's stream run for so long and handles all of it.
  void run(double seconds) {
    for (int64_t end = recorded_ + samplesOf(seconds); recorded_ < end;) {
      record();
      runBatch();
    }
  }
  // One transmission after a pause: keyed for so long, then unkeyed and run out. What went out while the radio was keyed, 1: full
  // scale, as a spectrum shows it: a positive frequency stands above the transmit frequency.
  std::vector<cdouble> send(double seconds) {
    run(pause_s);
    board->clearRecords();
    key(true);
    run(seconds);
    key(false);
    run(0.05);
    return onAir();
  }
  // The microphone's sample that the next send() begins with.
  int64_t nextHeard() const { return recorded_ + samplesOf(pause_s) + batchSamples - handMicrophone::lag; }
  std::vector<sim::txSample> words() const {
    std::vector<sim::txSample> keyed;
    for (const sim::recordedSample& each : board->transmitted())
      if (each.mox) keyed.push_back(each.sample);
    return keyed;
  }
  std::vector<cdouble> onAir() const {
    std::vector<cdouble> samples;
    for (const sim::txSample& each : words()) {
      const double i = each.i / wordFullScale, q = each.q / wordFullScale;
      samples.push_back(oddZone_ ? cdouble(-i, -q) : cdouble(-q, -i)); // the baseband's conjugate
    }
    return samples;
  }
  static constexpr double wordFullScale = 32766;
  static constexpr double batch_s = batchSamples / 48000.0; // each datagram pays for one: time passes in such steps

 private:
  static constexpr double pause_s = 0.12; // a microphone that wasn't read for so long is met anew

  static int64_t samplesOf(double seconds) { // whole batches
    return static_cast<int64_t>(std::ceil(seconds * 48000 / static_cast<double>(batchSamples) - 1e-6)) * batchSamples;
  }
  void record() {
    std::vector<float> samples;
    for (int64_t i = 0; i < batchSamples; i++) samples.push_back(static_cast<float>(voice_(recorded_++)));
    handMicrophone::get().device->record(samples.data(), samples.size());
  }

  sound voice_ = [](int64_t) { return 0.0; };
  int64_t recorded_ = 0;
  bool oddZone_ = false;
};

} // namespace larch::test
