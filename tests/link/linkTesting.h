// A transceiver with the link as its mode, whose tasks the test runs itself, and clients that wait by running them.
#pragma once
#include "link/MultiPskModDemod.h"
#include "tests/link/linkClient.h"
#include "tests/radio/logCapture.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>

namespace larch::test {

inline std::vector<std::string> told; // the host's functions know nothing but the value

class linkTest : public testing::Test {
 protected:
  static constexpr int32_t tuned = 14'095'600; // Hz, where a transceiver begins

  linkTest() {
    told.clear();
    mode->connected.bind(mode.get(), [](bool on) { told.push_back(on ? "connected" : "gone"); });
    mode->sending.bind(mode.get(), [](bool on) { told.push_back(on ? "sending" : "resting"); });
    mode->port.bind(mode.get(), [](int32_t n) { told.push_back("port " + std::to_string(n)); });
    s.transceiver->vfo.bind(s.transceiver.get(), [](int32_t f) { told.push_back("vfo " + std::to_string(f)); });
    pump();
  }
  ~linkTest() override {
    s.transceiver->setModulation(nullptr);
    pump();
  }

  std::shared_ptr<MultiPskModDemod> makeMode() { return keptByCore(std::make_shared<MultiPskModDemod>(s.env.group)); }
  void pump() {
    s.env.turns();
    s.env.pool->getUpdates();
  }
  template <class Condition> bool until(Condition reached) {
    const auto end = std::chrono::steady_clock::now() + linkPatience;
    for (pump(); !reached(); pump()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    return true;
  }
  // On a port of the system's choice, which is returned.
  int32_t open() {
    mode->port.set(0);
    s.transceiver->setModulation(mode);
    pump();
    told.clear();
    return mode->port.value;
  }
  std::function<void()> pumping() {
    return [this] { pump(); };
  }
  std::vector<std::string> takeTold() {
    pump();
    return std::exchange(told, {});
  }
  // Everything that the client has said before has been done.
  ::testing::AssertionResult answers(linkClient& client) {
    if (!client.send(question())) return ::testing::AssertionFailure() << "nothing can be sent";
    const std::string answer = client.receive(versionAnswer().size());
    if (answer == versionAnswer()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the answer is '" << answer << "'";
  }

  logCapture log;
  station s;
  std::shared_ptr<MultiPskModDemod> mode = makeMode();
};

} // namespace larch::test
