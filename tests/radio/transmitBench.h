// The Protocol 1 radio with transceivers that transmit, on one thread: each received datagram pays for one sent.
#pragma once
#include "modes/modDemod.h"
#include "tests/radio/addedTransceiver.h"
#include "tests/radio/hpsdrBench.h"
#include "tests/support/testSoundCard.h"

namespace larch::test {

// Sends a steady value.
class steadyMode : public modDemod {
 public:
  explicit steadyMode(bool blocked, std::complex<double> value = 1.0)
      : modDemod(std::make_shared<syncTask>(handPool())), level(value) {
    blockedTx = blocked;
    useTxFilter = false;
  }
  void modulate(const cbuff&, const cbuff& output) override {
    calls++;
    std::fill_n(output.data, output.count, level);
  }
  std::complex<double> level;
  int calls = 0;
};

// A frame that is silent in I and Q.
inline bool isSilent(const sentFrame& f) {
  return std::ranges::all_of(f.samples, [](const auto& s) { return s[2] == 0 && s[3] == 0; });
}
inline bool isSilent(const sentDatagram& d) { return isSilent(d.frame[0]) && isSilent(d.frame[1]); }
inline bool mox(const sentDatagram& d) { return d.frame[0].mox() && d.frame[1].mox(); }
// How many datagrams from `first` on carry MOX without a break.
inline std::size_t moxRun(const std::vector<sentDatagram>& all, std::size_t first = 0) {
  std::size_t n = 0;
  while (first + n < all.size() && mox(all[first + n])) n++;
  return n;
}

struct transmitBench : hpsdrBench {
  static constexpr int32_t firstVfo = 7100000;

  // One receiver at 48000 Hz.
  transmitBench() { radio->disableVirtualReceivers.set(true); }
  ~transmitBench() {
    for (const auto& each : all()) each->setModulation(nullptr);
    radio->transceivers.clear();
  }
  const std::vector<std::shared_ptr<vtrx>>& all() const { return radio->transceivers; }

  std::shared_ptr<vtrx> add(int32_t vfo = firstVfo, std::shared_ptr<modDemod> mode = nullptr) {
    auto v = addTransmitter(*radio, vfo, std::move(mode));
    runAll();
    return v;
  }
  void key(const std::shared_ptr<vtrx>& v, bool down) {
    v->ptt.set(down);
    runAll();
  }
  // The radio's stream goes on by so many datagrams; what is sent.
  std::vector<sentDatagram> run(int datagrams) {
    std::vector<sentDatagram> all;
    for (int i = 0; i < datagrams; i++) {
      radio->handleDatagram(received(6, streamed++).data(), 0);
      runAll();
      for (auto& d : sent()) all.push_back(d);
    }
    return all;
  }
  sentDatagram runOne() {
    const auto one = run(1);
    EXPECT_EQ(one.size(), 1u);
    return one.empty() ? sentDatagram{} : one[0];
  }

  uint32_t streamed = 0;
  bool silent = useNoSoundCard();
};

} // namespace larch::test
