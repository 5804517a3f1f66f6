// The link through the library's header alone: a client takes the samples of a simulated radio and tunes it, the host does, too.
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/boundary/testHost.h"
#include "tests/link/linkClient.h"
#include <complex>
#include <gtest/gtest.h>

namespace {

using larch::test::beginAt;
using larch::test::framed;
using larch::test::linkClient;
using larch::test::tuneTo;

constexpr double pi = 3.141592653589793;
constexpr int rate = 48000, carrier = 7'050'000;

vtrx* added = nullptr;
std::vector<std::string> told;

std::complex<double> sampleAt(const std::string& message, size_t at) {
  const auto part = [&](size_t i) {
    return static_cast<int16_t>(static_cast<uint8_t>(message[i]) | static_cast<uint8_t>(message[i + 1]) << 8);
  };
  return {static_cast<double>(part(at)), static_cast<double>(part(at + 2))};
}

class linkTest : public testing::Test {
 protected:
  void SetUp() override {
    testHost::start();
    const auto scene = std::make_shared<larch::sim::bandScene>();
    scene->addCarrier(carrier, -40);
    board = larch::sim::protocol1Radio::onFreeLoopback({}, scene);
    radio = testHost::watched(HpsdrRadio_create());
    HpsdrRadio_setipAddress(radio, board->address().c_str());
    HpsdrRadio_setclockFrequency(radio, 76'800'000);
    HpsdrRadio_setHLite2Gain(radio, true);
    Radio_bindvtrxAdded(base(), [](vtrx* h, int32_t, int32_t) { added = h; });
    Radio_start(base());
    ASSERT_TRUE(testHost::pollUntil([&] {
      board->poll();
      return added && board->report().streaming;
    }));
    vtrx_bindnewSpectrum(testHost::watched(added), [](floatArray* frame, double, double, int32_t) { floatArray_delete(frame); });
    vtrx_bindvfo(added, [](int32_t f) { told.push_back("vfo " + std::to_string(f)); });
    link = testHost::watched(MultiPskModDemod_create());
    MultiPskModDemod_bindport(link, [](int32_t n) { port = n; });
    MultiPskModDemod_bindconnected(link, [](bool on) { told.push_back(on ? "connected" : "gone"); });
    MultiPskModDemod_bindsending(link, [](bool on) { told.push_back(on ? "sending" : "resting"); });
    MultiPskModDemod_setport(link, 0);
    ASSERT_TRUE(testHost::settle(link));
    vtrx_setModulation(added, reinterpret_cast<modDemod*>(link));
    vtrx_setRxFilter(added, -23000, 23000);
    vtrx_start(added);
    ASSERT_TRUE(testHost::settle(added));
    ASSERT_GT(port, 0);
    told.clear();
  }
  void TearDown() override {
    Radio_stop(base());
    vtrx_remove(added);
    vtrx_release(added);
    MultiPskModDemod_release(link);
    HpsdrRadio_release(radio);
    const int expected = ended + 2; // the radio lives on: it was started
    EXPECT_TRUE(testHost::pollUntil([&] {
      board->poll();
      return testHost::deletions() >= expected;
    }));
  }
  Radio* base() { return reinterpret_cast<Radio*>(radio); }
  // The radio's time goes on, its samples come, and the host polls.
  void pump() {
    board->poll();
    const auto report = board->report();
    if (report.iqSent <= report.dataReceived + onTheirWay) board->emit(1);
    getUpdates();
    getRenderUpdates();
  }
  // Once the radio has followed.
  bool heardAt(linkClient& client, double pitch) {
    constexpr int blocks = 8;
    const auto end = std::chrono::steady_clock::now() + larch::test::linkPatience;
    while (std::chrono::steady_clock::now() < end) {
      std::complex<double> here = 0, there = 0;
      for (int b = 0, k = 0; b < blocks;) {
        const std::string message = client.message();
        if (message.empty()) return false;
        if (!message.starts_with("TXHWdata")) continue;
        for (size_t at = 12; at + 3 < message.size(); at += 4, k++) {
          const auto z = sampleAt(message, at);
          here += z * std::polar(1.0, -2 * pi * pitch * k / rate);
          there += z * std::polar(1.0, 2 * pi * pitch * k / rate);
        }
        b++;
      }
      if (std::abs(here) > 512 * blocks * 1000.0 && std::abs(here) > 30 * std::abs(there)) return true;
    }
    return false;
  }

  static inline int32_t port = 0;
  static constexpr uint64_t onTheirWay = 24;
  const int ended = testHost::deletions();
  std::unique_ptr<larch::sim::protocol1Radio> board;
  HpsdrRadio* radio = nullptr;
  MultiPskModDemod* link = nullptr;
};

} // namespace

TEST_F(linkTest, aClientTakesTheSamplesAndBothTune) {
  linkClient client(port, [this] { pump(); });
  ASSERT_TRUE(client.connected());
  client.send(framed("Pversion"));
  EXPECT_EQ(client.receive(13), larch::test::versionAnswer());
  client.send(beginAt(carrier - 1500));
  ASSERT_TRUE(heardAt(client, 1500)) << "above the frequency is above zero";
  client.send(tuneTo(carrier + 3000));
  ASSERT_TRUE(heardAt(client, -3000));
  vtrx_setvfo(added, carrier - 750);
  ASSERT_TRUE(heardAt(client, 750));
  EXPECT_EQ(told, (std::vector<std::string>{"connected", "vfo 7048500", "sending", "vfo 7053000"}));
  client.close();
  ASSERT_TRUE(testHost::pollUntil([&] { return told.size() == 6; }));
  EXPECT_EQ(told[4] + told[5], "goneresting");
}
