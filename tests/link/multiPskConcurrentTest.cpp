// Clients, the host, the radio and the network thread at once, on the pool's workers.
#include "link/MultiPskModDemod.h"
#include "platform/clock.h"
#include "tests/link/linkClient.h"
#include "tests/support/workingStation.h"
#include "tests/transceiver/chainTesting.h"
#include <atomic>
#include <gtest/gtest.h>

namespace larch::test {
namespace {

constexpr int32_t centre = 7'040'000, rate = 48000;
constexpr int rounds = 300, visits = 40;

// Reads until the answer; false when something isn't whole.
bool answered(linkClient& client) {
  for (;;) {
    const std::string message = client.message();
    if (message == versionAnswer().substr(4)) return true;
    if (!message.starts_with("TXHWdata") && !message.starts_with("Set_HWLO")) return false;
  }
}

std::string badVisit(int32_t port, int i) {
  linkClient client(port);
  if (!client.connected()) return "no connection";
  client.send(beginAt(7'040'000 + i));
  if (i % 4 != 3) {
    client.send(question());
    if (!answered(client)) return "no answer";
  }
  client.send(tuneTo(7'041'000 + i) + (i % 3 ? framed("Bug_on_P") : question().substr(0, 7)));
  i % 2 ? client.vanish() : client.close();
  return "";
}

TEST(multiPskConcurrentTest, clientsComeAndGoWhileTheChainRuns) {
  useNoSoundCard();
  static auto* pool = new sothreadpool(3); // workers live until the process ends
  const auto signalGroup = std::make_shared<syncTask>(pool), radioGroup = std::make_shared<syncTask>(pool);
  const auto others = std::make_shared<syncTask>(pool);
  const auto radio = keptByCore(std::make_shared<workingRadio>(radioGroup));
  const auto t = keptByCore(std::make_shared<vtrx>(signalGroup));
  t->radio = radio;
  t->init();
  keptByCore(t->rxagc.value);
  keptByCore(t->txagc.value);
  auto link = keptByCore(std::make_shared<MultiPskModDemod>(others));
  static int connections, changes;
  static std::atomic<int32_t> port;
  connections = changes = port = 0;
  link->connected.bind(link.get(), [](bool on) { connections += on; });
  link->sending.bind(link.get(), [](bool) { changes++; });
  link->port.bind(link.get(), [](int32_t n) { port = n; });
  link->port.set(0);
  t->vfo.bind(t.get(), [](int32_t) { changes++; });
  set(t, [link](vtrx& v) {
    v.setModulation(link);
    v.start();
  });
  ASSERT_TRUE(waitFor([] { return pool->getUpdates(), port != 0; }));

  std::atomic<int> clientsLeft{2};
  std::string faults[2];
  const auto visit = [&](int who) {
    for (int i = 0; i < visits && faults[who].empty(); i++) faults[who] = badVisit(port, i + who);
    clientsLeft--;
  };
  std::jthread first(visit, 0), second(visit, 1);
  std::atomic<int> done{0};
  for (int i = 0; i < rounds || clientsLeft > 0; i++) {
    post(t, [&done](vtrx& v) {
      v.processRxChunk(cbuff(512, cdouble(1e-4, 1e-4)), centre, rate, {}, 0, 0);
      done++;
    });
    set(t, [i](vtrx& v) { v.vfo.set(centre + i % 50); });
    if (i % 3 == 0) set(link, [i](MultiPskModDemod& m) { m.sending.set(i % 2 == 0); });
    if (i % 20 == 10) set(t, [](vtrx& v) { v.setModulation(nullptr); });
    if (i % 20 == 12) set(t, [link](vtrx& v) { v.setModulation(link); });
    pool->getUpdates();
    ASSERT_TRUE(waitFor([&] { return done >= i - 10; })); // the rings hold a thousand each
  }
  first.join();
  second.join();
  EXPECT_EQ(faults[0] + faults[1], "");
  // those that didn't wait for an answer may have gone before they were accepted
  ASSERT_TRUE(waitFor([&] { return pool->getUpdates(), connections >= 2 * visits * 3 / 4 && !link->connected.get(); }));
  EXPECT_LE(connections, 2 * visits);
  EXPECT_GT(changes, 0);

  // the end, with a client that streams
  set(t, [link](vtrx& v) { v.setModulation(link); });
  set(link, [](MultiPskModDemod& m) { m.sending.set(true); });
  linkClient last(port, [&] { post(t, [](vtrx& v) { v.processRxChunk(cbuff(512, cdouble(0, 0)), centre, rate, {}, 0, 0); }); });
  last.send(beginAt(centre));
  std::string heard = last.message();
  while (heard.starts_with("Set_HWLO")) heard = last.message();
  EXPECT_TRUE(heard.starts_with("TXHWdata"));
  const std::weak_ptr<MultiPskModDemod> gone = link;
  set(t, [](vtrx& v) {
    v.setModulation(nullptr);
    v.remove();
  });
  link.reset();
  ASSERT_TRUE(waitFor([&] { return pool->getUpdates(), gone.expired() && radio->removed; }));
  while (heard.starts_with("TXHWdata") || heard.starts_with("Set_HWLO")) heard = last.message();
  EXPECT_EQ(heard, "");
}

} // namespace
} // namespace larch::test
