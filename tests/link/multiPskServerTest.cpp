// The server by itself: to whom it sends.
#include "link/multiPskServer.h"
#include "link/multiPskMessages.h"
#include "link/networkThread.h"
#include "link/portNumbers.h"
#include "tests/link/linkTesting.h"
#include <boost/asio/post.hpp>
#include <future>

namespace larch::test {
namespace {

buff<char> text(const std::string& words) {
  buff<char> m(words.size());
  std::copy(words.begin(), words.end(), m.data);
  return m;
}

multiPskEvents toNobody() {
  return {[](uint32_t, bool, const multiPskTurn&) {}, [](const buff<char>&, const multiPskTurn&) {}};
}

class multiPskServerTest : public testing::Test {
 protected:
  ~multiPskServerTest() override { server->close(); }
  // The network thread stands still until the promise is kept.
  static std::promise<void> holdNetworkThread() {
    std::promise<void> go, held;
    auto standing = held.get_future();
    boost::asio::post(networkContext(),
                      [gone = go.get_future().share(), h = std::make_shared<std::promise<void>>(std::move(held))] {
                        h->set_value();
                        gone.wait();
                      });
    standing.wait();
    return go;
  }
  std::unique_ptr<linkClient> connect(int window = 0) {
    const uint32_t before = here;
    auto client = std::make_unique<linkClient>(
        *port, [this] { g.turns(); }, window);
    EXPECT_TRUE(until([&] { return here > before; }));
    return client;
  }
  template <class Condition> bool until(Condition reached) {
    const auto end = std::chrono::steady_clock::now() + linkPatience;
    for (g.turns(); !reached() && std::chrono::steady_clock::now() < end; g.turns())
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    return reached();
  }

  logCapture log;
  testGroup g;
  std::shared_ptr<sample> owner = keptByCore(std::make_shared<sample>(g.group));
  uint32_t here = 0, gone = 0; // the last client's number
  std::shared_ptr<multiPskServer> server = std::make_shared<multiPskServer>(
      multiPskEvents{[this](uint32_t client, bool on, const multiPskTurn&) { (on ? here : gone) = client; },
                     [](const buff<char>&, const multiPskTurn&) {}});
  std::optional<int32_t> port = server->open(owner, 0);
};

TEST_F(multiPskServerTest, whatIsMeantForAnotherClientGoesNowhere) {
  connect()->close();
  ASSERT_TRUE(until([&] { return gone == 1; }));
  const auto client = connect();
  ASSERT_EQ(here, 2u);
  server->reply(1, text("late"));
  ASSERT_TRUE(until([&] { return server->takesSamples(); }));
  server->sendSamples(1, text("late samples"));
  ASSERT_TRUE(until([&] { return server->takesSamples(); })) << "they have been taken away";
  server->reply(2, text("first"));
  EXPECT_EQ(client->receive(5), "first");
  ASSERT_TRUE(until([&] { return server->takesSamples(); }));
  server->sendSamples(2, text("samples"));
  EXPECT_EQ(client->receive(7), "samples");
}

TEST_F(multiPskServerTest, samplesAreRefusedWhileNobodyIsThere) {
  EXPECT_FALSE(server->takesSamples());
  const auto client = connect();
  EXPECT_TRUE(server->takesSamples());
  client->close();
  ASSERT_TRUE(until([&] { return gone == 1; }));
  EXPECT_FALSE(server->takesSamples());
}

// The signal has looked before the client went, and hands its block over behind that.
TEST_F(multiPskServerTest, samplesThatComeTooLateBlockNothing) {
  connect()->close();
  ASSERT_TRUE(until([&] { return gone == 1; }));
  server->sendSamples(1, text("late samples"));
  const auto client = connect();
  ASSERT_TRUE(until([&] { return server->takesSamples(); }));
  server->sendSamples(2, text("samples"));
  EXPECT_EQ(client->receive(7), "samples");
}

TEST_F(multiPskServerTest, samplesWaitForALateNetworkThread) {
  const auto client = connect();
  for (int round = 0; round < 3; round++) { // all the way round the ring
    auto go = holdNetworkThread();
    std::string expected;
    for (uint32_t i = 0; i < multiPskServer::mostSamples; i++) {
      ASSERT_TRUE(server->takesSamples()) << i;
      server->sendSamples(1, text(std::to_string(i)));
      expected += std::to_string(i);
    }
    EXPECT_FALSE(server->takesSamples()) << "that was all the room";
    go.set_value();
    EXPECT_EQ(client->receive(expected.size()), expected);
    ASSERT_TRUE(until([&] { return server->takesSamples(); }));
  }
}

// A write counts as waiting for the client when the network thread has looked, not before it could.
TEST_F(multiPskServerTest, aLateEndOfAWriteRefusesNoSamples) {
  const auto client = connect();
  auto first = holdNetworkThread();
  server->reply(1, text("reply"));
  std::promise<void> go, written;
  boost::asio::post(networkContext(), [&] {
    written.set_value();
    go.get_future().wait();
  });
  first.set_value();
  written.get_future().wait();
  EXPECT_EQ(client->receive(5), "reply") << "written, and the thread hasn't heard of it";
  EXPECT_TRUE(server->takesSamples());
  server->sendSamples(1, text("one"));
  EXPECT_TRUE(server->takesSamples());
  server->sendSamples(1, text("two"));
  go.set_value();
  EXPECT_EQ(client->receive(6), "onetwo");
}

TEST_F(multiPskServerTest, samplesAreRefusedWhileAClientKeepsAWriteWaiting) {
  const auto client = connect(1 << 16);
  const std::string more(16 << 20, '.'); // than the system takes for a client that doesn't read
  server->reply(1, text(more));
  ASSERT_TRUE(until([&] { return !server->takesSamples(); }));
  auto go = holdNetworkThread();
  EXPECT_FALSE(server->takesSamples());
  go.set_value();
  EXPECT_EQ(client->receive(more.size()), more);
  ASSERT_TRUE(until([&] { return server->takesSamples(); }));
  server->sendSamples(1, text("samples"));
  EXPECT_EQ(client->receive(7), "samples");
}

TEST_F(multiPskServerTest, samplesForTheClientBeforeStandInNobodysWay) {
  connect()->close();
  ASSERT_TRUE(until([&] { return gone == 1; }));
  const auto client = connect();
  auto go = holdNetworkThread();
  for (uint32_t i = 0; i < multiPskServer::mostSamples; i++) server->sendSamples(i % 2 + 1, text(std::to_string(i)));
  go.set_value();
  EXPECT_EQ(client->receive(4), "1357");
  ASSERT_TRUE(until([&] { return server->takesSamples(); }));
}

TEST_F(multiPskServerTest, theEndLetsGoOfSamplesThatWait) {
  std::weak_ptr<pooledRawBuffer> block;
  {
    multiPskServer ended(toNobody());
    buff<char> samples = text("samples");
    block = samples.owner;
    ended.sendSamples(1, std::move(samples));
    EXPECT_FALSE(block.expired());
  }
  EXPECT_TRUE(block.expired());
}

TEST_F(multiPskServerTest, repliesWaitInOrder) {
  const auto client = connect();
  for (int i = 0; i < 10; i++) server->reply(1, text(std::to_string(i)));
  EXPECT_EQ(client->receive(10), "0123456789");
}

// The network thread comes late to them: all but the first wait together.
TEST_F(multiPskServerTest, whereTooManyWaitTheOldestFrequencyIsLostAndNoAnswer) {
  const auto client = connect();
  auto go = holdNetworkThread();
  constexpr int tunes = 40, kept = multiPskServer::mostReplies - 1;
  const auto bytesOf = [](const buff<char>& m) { return std::string(m.data, m.count); };
  server->reply(1, text("first"));
  server->reply(1, multiPskVersion());
  for (int i = 0; i < tunes; i++) server->reply(1, multiPskTune(i));
  go.set_value();
  std::string expected = "first" + bytesOf(multiPskVersion());
  for (int i = tunes - kept; i < tunes; i++) expected += bytesOf(multiPskTune(i));
  EXPECT_EQ(client->receive(expected.size()), expected);
}

TEST_F(multiPskServerTest, anOwnerThatHasGoneIsPassedOver) {
  owner.reset();
  linkClient client(*port);
  EXPECT_TRUE(client.send(question() + question()));
  client.close();
  ASSERT_TRUE(until([&] { return log.times("tcp read err") == 1; }));
  linkClient next(*port);
  EXPECT_TRUE(next.connected());
  next.close();
  ASSERT_TRUE(until([&] { return log.times("tcp read err") == 2; }));
  EXPECT_EQ(here, 0u);
  EXPECT_EQ(gone, 0u);
}

// Another link may be about to try any number, or on its way out with it.
TEST_F(multiPskServerTest, aPortOfTheSystemsChoiceIsTheOneInUseWhoeverHasClaimedItsNumber) {
  constexpr int32_t highest = 65535;
  auto& numbers = portNumbers::shared();
  std::vector<int32_t> claimed;
  for (int32_t number = numbers.claim(0); number <= highest; number = numbers.claim(number)) claimed.push_back(number);
  numbers.giveBack(highest + 1);
  const auto other = std::make_shared<multiPskServer>(toNobody());
  const auto number = other->open(owner, 0);
  for (const int32_t n : claimed) numbers.giveBack(n);
  ASSERT_TRUE(number.has_value());
  EXPECT_TRUE(linkClient(*number).connected()) << *number;
  EXPECT_FALSE(takenPort(*number).taken());
  const int32_t next = numbers.claim(*number);
  EXPECT_GT(next, *number) << "it has the number when the others have let go of it";
  numbers.giveBack(next);
  other->close();
  EXPECT_EQ(numbers.claim(*number), *number);
  numbers.giveBack(*number);
}

} // namespace
} // namespace larch::test
