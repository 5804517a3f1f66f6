// The link by its bytes: what a client says, what it hears, and what becomes of the transceiver.
#include "link/networkThread.h"
#include "tests/link/linkTesting.h"
#include "tests/support/allocationCounter.h"
#include <boost/asio/post.hpp>
#include <future>

namespace larch::test {
namespace {

using words = std::vector<std::string>;

class MultiPskModDemodTest : public linkTest {
 protected:
  // A block that isn't dropped for what is still being written.
  buff<float> stream(const cbuff& block) {
    EXPECT_TRUE(until([&] { return mode->takesSamples(); }));
    return mode->demodulate(block);
  }
};

cbuff steady(uint64_t n, std::complex<double> value) { return cbuff(n, value); }

// ---- what a client asks

TEST_F(MultiPskModDemodTest, answersWhatAClientAsks) {
  linkClient client(open(), pumping());
  ASSERT_TRUE(client.connected());
  client.send(question() + framed("HWMPcapa"));
  EXPECT_EQ(client.receive(13), versionAnswer());
  EXPECT_EQ(client.receive(56), bytes({52, 0, 0, 0}) + "HWMPcapa" + bytes({8}) + "LarchRig" + bytes({3}) + "1.0" + bytes({5}) +
                                    "Hello" + bytes({1}) + "3" + bytes({5}) + "48000" + bytes({15}) + "24000..40000000" +
                                    bytes({0}));
  EXPECT_EQ(takeTold(), words{"connected"});
  EXPECT_TRUE(mode->connected.value);
}

TEST_F(MultiPskModDemodTest, theFirstFrequencyIsTakenAndNotEchoed) {
  linkClient client(open(), pumping());
  client.send(beginAt(7'040'000));
  ASSERT_TRUE(answers(client)) << "nothing comes before the answer";
  EXPECT_EQ(takeTold(), (words{"connected", "vfo 7040000", "sending"}));
  EXPECT_EQ(s.transceiver->vfo.value, 7'040'000);
  EXPECT_EQ(s.radio->take().back(), "setRxFrequency 7040000 1");
}

TEST_F(MultiPskModDemodTest, aClientTunesTheTransceiver) {
  linkClient client(open(), pumping());
  client.send(tuneTo(3'580'000));
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(takeTold(), (words{"connected", "vfo 3580000"}));
  client.send(beginAt(3'580'000) + tuneTo(3'590'000));
  EXPECT_EQ(client.receive(16), tuneTo(3'590'000)) << "while samples flow each change of frequency is told";
  EXPECT_EQ(takeTold(), (words{"sending", "vfo 3590000"}));
}

TEST_F(MultiPskModDemodTest, theFrequencyThatThereIsAlreadyIsNoNewsButAValue) {
  linkClient client(open(), pumping());
  ASSERT_FALSE(s.transceiver->vfo.hasValue);
  client.send(tuneTo(tuned));
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(takeTold(), words{"connected"});
  EXPECT_TRUE(s.transceiver->vfo.hasValue);
}

TEST_F(MultiPskModDemodTest, theHostsTuningIsToldWhileSamplesFlow) {
  linkClient client(open(), pumping());
  s.transceiver->vfo.set(7'000'000);
  ASSERT_TRUE(answers(client)) << "not sending: nothing is said";
  client.send(beginAt(7'010'000));
  ASSERT_TRUE(answers(client));
  s.transceiver->vfo.set(7'020'000);
  EXPECT_EQ(client.receive(16), tuneTo(7'020'000));
  client.send(framed("Bug_on_P"));
  ASSERT_TRUE(answers(client));
  s.transceiver->vfo.set(7'030'000);
  ASSERT_TRUE(answers(client));
}

TEST_F(MultiPskModDemodTest, withoutAClientNothingIsSaid) {
  const int32_t port = open();
  mode->sending.set(true);
  s.transceiver->vfo.set(7'020'000);
  mode->demodulate(steady(512, 1e-3));
  linkClient client(port, pumping());
  ASSERT_TRUE(answers(client)) << "neither of them waits for the next client";
}

TEST_F(MultiPskModDemodTest, whatIsUnknownOrShortDoesNothing) {
  linkClient client(open(), pumping());
  client.send(framed("Received") + framed("Received1234") + framed("NoSuchTa") + framed("Pversio") + framed("") +
              framed("InitHWMP123456789") + framed("Set_HWLO123") + framed("Bug_on_P"));
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(takeTold(), words{"connected"});
  EXPECT_EQ(s.transceiver->vfo.value, tuned);
}

// ---- framing

TEST_F(MultiPskModDemodTest, piecesOfOneByteAreAMessage) {
  linkClient client(open(), pumping());
  for (const char c : beginAt(7'040'000)) {
    client.send(std::string(1, c));
    pump();
  }
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(s.transceiver->vfo.value, 7'040'000);
}

TEST_F(MultiPskModDemodTest, manyMessagesInOnePieceAreAllAnsweredInOrder) {
  constexpr size_t rounds = 1000;
  linkClient client(open(), pumping());
  std::string all;
  for (size_t i = 0; i < rounds; i++) all += question() + framed("HWMPcapa");
  client.send(all);
  for (size_t i = 0; i < rounds; i++) {
    ASSERT_EQ(client.receive(13), versionAnswer()) << i;
    ASSERT_EQ(client.receive(56).substr(4, 8), "HWMPcapa") << i;
  }
  EXPECT_FALSE(log.has("Can't queue")) << log.text();
}

TEST_F(MultiPskModDemodTest, lengthsAreTakenAsTheirSignedBytesSay) {
  linkClient client(open(), pumping());
  const std::string padding(1000, '.');
  for (const uint32_t length : {8u, 127u, 384u}) {
    client.send(word32(length) + ("Pversion" + padding).substr(0, std::min(length, 128u)));
    ASSERT_EQ(client.receive(13), versionAnswer()) << length;
    EXPECT_FALSE(log.has("tcp bad len")) << length;
  }
  int bad = 0;
  for (const uint32_t length : {128u, 129u, 200u, 0x80000000u, 0xffffffffu}) {
    client.send(word32(length) + ("Pversion" + padding).substr(0, 128));
    ASSERT_EQ(client.receive(13), versionAnswer()) << length;
    EXPECT_EQ(log.times("tcp bad len"), ++bad) << length;
  }
  client.send(framed("") + framed("Pversio"));
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(log.times("tcp bad len"), bad);
}

TEST_F(MultiPskModDemodTest, theRestOfALongMessageIsReadAsTheNext) {
  linkClient client(open(), pumping());
  std::string body = "NoSuchTa";
  body.resize(128, '.');
  body += framed("HWMPcapa" + std::string(52, '.')) + framed("Pver");
  body.resize(200, '.');
  client.send(word32(200) + body);
  ASSERT_EQ(client.receive(56).substr(4, 8), "HWMPcapa");
  EXPECT_EQ(log.times("tcp bad len"), 1);
}

TEST_F(MultiPskModDemodTest, garbageNeitherHarmsNorFillsTheLog) {
  const int32_t port = open();
  uint32_t seed = 5;
  for (int i = 0; i < 5; i++) {
    linkClient client(port, pumping());
    std::string garbage(50'000, '\0');
    for (char& c : garbage) c = static_cast<char>((seed = seed * 1664525 + 1013904223) >> 24);
    ASSERT_TRUE(client.send(garbage));
    client.close();
    ASSERT_TRUE(until([&] { return log.times("tcp read err") == i + 1; }));
  }
  EXPECT_LE(log.times("tcp bad len"), 50);
  EXPECT_GE(log.times("tcp bad len"), 5);
  linkClient client(port, pumping());
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(s.transceiver->vfo.value, tuned);
}

// ---- samples

TEST_F(MultiPskModDemodTest, aBlockIsOneFrame) {
  linkClient client(open(), pumping());
  client.send(beginAt(7'040'000));
  ASSERT_TRUE(answers(client));
  cbuff block(3);
  block.data[0] = {1e-3, 2e-5};
  block.data[1] = {-1e-5, -1e-3};
  block.data[2] = {0.0, 1.6e-4};
  const auto audio = stream(block);
  ASSERT_EQ(audio.count, 3u);
  EXPECT_EQ(audio.data[1], -1e-5f);
  // 20,000,000 until the second imaginary part has 20000 of 32000, and the real part 20000
  EXPECT_EQ(client.receive(28), bytes({24, 0, 0, 0}) + "TXHWdata" + bytes({12, 0, 0, 0}) +
                                    bytes({0x90, 0x01, 0x20, 0x4e, 0xe0, 0xb1, 0x38, 0xff, 0x80, 0x0c, 0, 0}));
}

TEST_F(MultiPskModDemodTest, audioIsTheRealPartWithAndWithoutAClient) {
  cbuff block(512);
  for (uint64_t i = 0; i < block.count; i++) block.data[i] = {0.001 * static_cast<double>(i), 5};
  const auto quiet = mode->demodulate(block);
  linkClient client(open(), pumping());
  client.send(beginAt(7'040'000));
  ASSERT_TRUE(answers(client));
  const auto heard = stream(block);
  for (uint64_t i = 0; i < block.count; i++) {
    ASSERT_EQ(quiet.data[i], static_cast<float>(block.data[i].real()));
    ASSERT_EQ(heard.data[i], static_cast<float>(block.data[i].real()));
  }
}

TEST_F(MultiPskModDemodTest, theGainOnlyFallsForTheObjectsWholeLife) {
  const int32_t port = open();
  {
    linkClient client(port, pumping());
    client.send(beginAt(7'040'000));
    ASSERT_TRUE(answers(client));
    stream(steady(1, {0, 0.32}));
    EXPECT_EQ(client.receive(20).substr(16), bytes({0x00, 0x7d, 0, 0}));
  }
  ASSERT_TRUE(until([&] { return !mode->connected.value; }));
  linkClient client(port, pumping());
  client.send(beginAt(7'040'000));
  ASSERT_TRUE(answers(client));
  stream(steady(1, {0.001, 0.01}));
  EXPECT_EQ(client.receive(20).substr(16), bytes({0xe8, 0x03, 0x64, 0x00})) << "gain 100000 of the client before";
}

TEST_F(MultiPskModDemodTest, theHostStartsAndStopsTheStreamAsAClientDoes) {
  linkClient client(open(), pumping());
  ASSERT_TRUE(answers(client));
  mode->sending.set(true);
  stream(steady(2, 0));
  EXPECT_EQ(client.receive(24).substr(4, 8), "TXHWdata");
  mode->sending.set(false);
  mode->demodulate(steady(2, 0));
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(takeTold(), words{"connected"}) << "its own sets aren't told";
}

TEST_F(MultiPskModDemodTest, aClientEndsTheStream) {
  linkClient client(open(), pumping());
  client.send(beginAt(7'040'000) + framed("Bug_on_P"));
  ASSERT_TRUE(answers(client));
  mode->demodulate(steady(512, 0));
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(takeTold(), (words{"connected", "vfo 7040000", "sending", "resting"}));
}

TEST_F(MultiPskModDemodTest, aStreamTakesTheOwnersOfItsBlocksOnly) {
  constexpr int blocks = 200;
  linkClient client(open(), pumping());
  client.send(beginAt(7'040'000));
  ASSERT_TRUE(answers(client));
  const cbuff block = steady(512, {1e-4, 1e-4});
  int64_t taken = 0;
  for (int i = 0; i < 2 * blocks; i++) {
    ASSERT_TRUE(until([&] { return mode->takesSamples(); }));
    const int64_t before = allocationsOfThisThread();
    mode->demodulate(block);
    if (i >= blocks) taken += allocationsOfThisThread() - before;
    client.receive(16 + 4 * 512);
  }
  EXPECT_LE(taken, 2 * blocks) << "the audio, and the frame";
}

// ---- clients that come and go

TEST_F(MultiPskModDemodTest, aClientThatNeverReadsCostsNeitherTimeNorMemory) {
  constexpr int blocks = 20'000, tunes = 200;
  constexpr size_t frame = 16 + 4 * 512;
  linkClient client(open(), pumping(), 4096);
  client.send(beginAt(7'040'000));
  ASSERT_TRUE(until([&] { return mode->sending.value; }));
  const cbuff block = steady(512, {0, 1e-4});
  for (int i = 0; i < blocks; i++) {
    mode->demodulate(block);
    if (i % (blocks / tunes) == 0) s.transceiver->vfo.set(7'000'000 + i);
    if (i % 100 == 0) pump();
  }
  s.transceiver->vfo.set(7'777'777);
  // now it reads: whole messages only, few of them, and the last frequency is among them
  size_t frames = 0, others = 0;
  std::string message = client.message();
  for (; !message.empty() && message != tuneTo(7'777'777).substr(4); message = client.message()) {
    const bool samples = message.size() == frame - 4 && message.starts_with("TXHWdata" + bytes({0, 8, 0, 0}));
    ASSERT_TRUE(samples || (message.size() == 12 && message.starts_with("Set_HWLO"))) << message.substr(0, 40);
    ++(samples ? frames : others);
  }
  ASSERT_EQ(message, tuneTo(7'777'777).substr(4));
  EXPECT_GT(frames, 0u);
  EXPECT_LT(frames, static_cast<size_t>(blocks) * 3 / 4) << "the rest was dropped";
  EXPECT_LE(others, static_cast<size_t>(tunes));
  client.send(question()); // and all is as before, behind the frames that may have waited
  message = client.message();
  while (message.starts_with("TXHWdata")) message = client.message();
  EXPECT_EQ(message, versionAnswer().substr(4));
}

TEST_F(MultiPskModDemodTest, aLostClientEndsTheStreamAndTheNextOneIsServed) {
  const int32_t port = open();
  for (const bool hard : {false, true}) {
    for (const size_t part : {size_t{0}, size_t{2}, size_t{9}}) { // of a message, when it goes
      linkClient client(port, pumping());
      client.send(beginAt(7'040'000));
      ASSERT_TRUE(answers(client));
      EXPECT_TRUE(mode->sending.value);
      client.send(question().substr(0, part));
      mode->demodulate(steady(512, 0));
      takeTold();
      hard ? client.vanish() : client.close();
      ASSERT_TRUE(until([&] { return told.size() == 2; }));
      EXPECT_EQ(takeTold(), (words{"gone", "resting"}));
      EXPECT_FALSE(mode->connected.value);
      mode->demodulate(steady(512, 0));
    }
  }
  EXPECT_GE(log.times("tcp read err"), 6);
  linkClient client(port, pumping());
  ASSERT_TRUE(answers(client));
}

// What it has asked for is done before it counts as lost.
TEST_F(MultiPskModDemodTest, aClientThatBeginsAndGoesLeavesNothingRunning) {
  const int32_t port = open();
  for (int i = 0; i < 20; i++) {
    linkClient client(port, pumping());
    client.send(beginAt(7'000'000 + i));
    client.close();
    ASSERT_TRUE(until([&] { return !told.empty() && told.back() == "resting"; })) << i;
    EXPECT_EQ(s.transceiver->vfo.value, 7'000'000 + i);
    EXPECT_FALSE(mode->sending.value);
    EXPECT_FALSE(mode->connected.value);
    told.clear();
  }
}

int openFiles() {
  int n = 0;
  for (int fd = 0; fd < 1024; fd++) n += fcntl(fd, F_GETFD) >= 0;
  return n;
}

TEST_F(MultiPskModDemodTest, comesBackAfterAThousandConnections) {
  const int32_t port = open();
  const int before = openFiles();
  for (int i = 0; i < 1000; i++) {
    linkClient client(port, pumping());
    ASSERT_TRUE(client.connected()) << i;
    if (i % 3 == 0) client.send(beginAt(7'000'000 + i));
    if (i % 3 == 1) {
      ASSERT_TRUE(answers(client)) << i;
    }
    i % 2 ? client.vanish() : client.close();
    ASSERT_TRUE(until([&] { return std::count(told.begin(), told.end(), "gone") == i + 1; })) << i;
  }
  EXPECT_EQ(std::count(told.begin(), told.end(), "connected"), 1000);
  {
    linkClient client(port, pumping());
    ASSERT_TRUE(answers(client));
  }
  ASSERT_TRUE(until([&] { return !mode->connected.value; }));
  EXPECT_TRUE(until([&] { return openFiles() == before; }));
}

TEST_F(MultiPskModDemodTest, aSecondClientWaitsUntilTheFirstHasGone) {
  const int32_t port = open();
  auto first = std::make_unique<linkClient>(port, pumping());
  ASSERT_TRUE(answers(*first));
  linkClient second(port, pumping());
  ASSERT_TRUE(second.connected()) << "by the system";
  second.send(question());
  for (int i = 0; i < 50; i++) ASSERT_TRUE(answers(*first));
  EXPECT_TRUE(second.silent());
  first.reset();
  EXPECT_EQ(second.receive(13), versionAnswer());
}

TEST_F(MultiPskModDemodTest, anAnswerForAClientThatHasGoneGoesNowhere) {
  const int32_t port = open();
  linkClient first(port, pumping());
  first.send(beginAt(7'040'000));
  ASSERT_TRUE(answers(first));
  first.close();
  ASSERT_TRUE(until([&] { return log.has("tcp read err"); }));
  // its end waits in the group's queue or has been told; in either case the next client hears nothing of it
  mode->demodulate(steady(512, 0));
  s.transceiver->vfo.set(7'050'000);
  linkClient second(port, pumping());
  ASSERT_TRUE(answers(second));
}

// ---- ports

TEST_F(MultiPskModDemodTest, listensOnThePortThatItHas) {
  const int32_t port = freePorts(1);
  mode->port.set(port);
  s.transceiver->setModulation(mode);
  EXPECT_EQ(takeTold(), words{}) << "no news: it is the port that was asked for";
  EXPECT_FALSE(mode->port.hasValue);
  linkClient client(port, pumping());
  ASSERT_TRUE(answers(client));
}

TEST_F(MultiPskModDemodTest, theFirstPortIs50001) {
  EXPECT_EQ(mode->port.value, 50001);
  s.transceiver->setModulation(mode); // another program may have it
  EXPECT_GE(mode->port.value, 50001);
  EXPECT_LE(mode->port.value, 50020);
}

TEST_F(MultiPskModDemodTest, aSecondTransceiverTakesTheNextPort) {
  const int32_t port = freePorts(2);
  mode->port.set(port);
  s.transceiver->setModulation(mode);
  const auto other = s.make();
  const auto otherMode = makeMode();
  otherMode->port.set(port);
  otherMode->port.bind(otherMode.get(), [](int32_t n) { told.push_back("other port " + std::to_string(n)); });
  other->setModulation(otherMode);
  EXPECT_EQ(takeTold(), words{"other port " + std::to_string(port + 1)});
  EXPECT_FALSE(log.has("bind")) << "it is known in the process: " << log.text();
  linkClient one(port, pumping()), two(port + 1, pumping());
  one.send(tuneTo(7'001'000));
  two.send(tuneTo(7'002'000));
  ASSERT_TRUE(answers(one));
  ASSERT_TRUE(answers(two));
  EXPECT_EQ(s.transceiver->vfo.value, 7'001'000);
  EXPECT_EQ(other->vfo.value, 7'002'000);
  other->setModulation(nullptr);
}

TEST_F(MultiPskModDemodTest, passesOverPortsThatOtherProgramsHave) {
  const int32_t port = freePorts(4);
  const takenPort one(port), two(port + 1), three(port + 2);
  mode->port.set(port);
  s.transceiver->setModulation(mode);
  EXPECT_EQ(takeTold(), words{"port " + std::to_string(port + 3)});
  EXPECT_EQ(log.times("[error] bind "), 3) << log.text();
  linkClient client(port + 3, pumping());
  ASSERT_TRUE(answers(client));
}

TEST_F(MultiPskModDemodTest, givesUpAfterTwentyPorts) {
  const int32_t port = freePorts(21);
  std::vector<takenPort> held;
  for (int i = 0; i < 20; i++) held.emplace_back(port + i);
  mode->port.set(port);
  s.transceiver->setModulation(mode);
  EXPECT_EQ(takeTold(), words{"port " + std::to_string(port + 19)});
  EXPECT_EQ(log.times("[error] bind "), 20) << log.text();
  EXPECT_TRUE(takenPort(port + 20).taken());
  held.clear();
  EXPECT_FALSE(linkClient(port + 19).connected());
  mode->demodulate(steady(512, 0)); // and goes on as a receiver
  s.transceiver->setModulation(nullptr);
  s.transceiver->setModulation(mode);
  linkClient client(port + 19, pumping());
  ASSERT_TRUE(answers(client)) << "attached anew it tries anew";
}

TEST_F(MultiPskModDemodTest, numbersThatAreNoPortsAreTriedAndFail) {
  mode->port.set(65536);
  s.transceiver->setModulation(mode);
  EXPECT_EQ(takeTold(), words{"port " + std::to_string(65536 + 19)});
  const auto highest = makeMode();
  highest->port.set(std::numeric_limits<int32_t>::max());
  s.transceiver->setModulation(highest);
  EXPECT_EQ(highest->port.value, std::numeric_limits<int32_t>::max());
}

TEST_F(MultiPskModDemodTest, aSecondAttachmentOpensNoSecondServer) {
  const int32_t port = freePorts(2);
  mode->port.set(port);
  s.transceiver->setModulation(mode);
  linkClient client(port, pumping());
  ASSERT_TRUE(answers(client));
  mode->port.set(port + 1); // a later set doesn't open it anew
  s.transceiver->setModulation(mode);
  s.transceiver->setModulation(s.mode);
  s.transceiver->setModulation(mode);
  ASSERT_TRUE(answers(client));
  EXPECT_TRUE(takenPort(port + 1).taken());
  EXPECT_EQ(mode->port.value, port + 1);
}

TEST_F(MultiPskModDemodTest, itsEndGivesThePortBackAndSendsTheClientAway) {
  const int32_t port = open();
  linkClient client(port, pumping());
  client.send(beginAt(7'040'000));
  ASSERT_TRUE(answers(client));
  stream(steady(512, 0));
  const std::weak_ptr<MultiPskModDemod> gone = mode;
  s.transceiver->setModulation(s.mode);
  mode.reset();
  ASSERT_TRUE(until([&] { return gone.expired(); }));
  const auto next = makeMode();
  next->port.set(port);
  s.transceiver->setModulation(next);
  EXPECT_EQ(next->port.value, port) << "at once";
  client.receive(16 + 4 * 512);
  EXPECT_TRUE(client.seesTheEnd());
  linkClient again(port, pumping());
  ASSERT_TRUE(answers(again));
}

TEST_F(MultiPskModDemodTest, withoutATransceiverAClientIsAnsweredAndTunesNothing) {
  linkClient client(open(), pumping());
  s.transceiver->setModulation(s.mode);
  client.send(tuneTo(7'040'000) + beginAt(7'050'000));
  ASSERT_TRUE(answers(client));
  EXPECT_EQ(s.transceiver->vfo.value, tuned);
  EXPECT_TRUE(mode->sending.value);
  s.transceiver->setModulation(mode);
  stream(steady(512, 0));
  EXPECT_EQ(client.receive(16 + 4 * 512).substr(4, 8), "TXHWdata") << "back in its place";
}

// By then the network thread has done whatever it could do in so many steps.
void runNetworkThread(int steps, const std::shared_ptr<std::promise<void>>& done) {
  boost::asio::post(networkContext(), [=] { steps > 0 ? runNetworkThread(steps - 1, done) : done->set_value(); });
}

// A group that stands still, as while a sound device is opened, takes one task of a client, not all it says.
TEST_F(MultiPskModDemodTest, oneMessageAtATimeIsOnItsWay) {
  linkClient client(open());
  std::string all;
  for (int i = 0; i < 5000; i++) all += question();
  ASSERT_TRUE(client.send(all));
  const auto done = std::make_shared<std::promise<void>>();
  runNetworkThread(20'000, done); // four a message
  done->get_future().wait();
  EXPECT_FALSE(log.has("Can't queue seq process")) << log.text();
  int answered = 0;
  ASSERT_TRUE(until([&] {
    while (!client.silent() && client.receive(13) == versionAnswer()) answered++;
    return answered == 5000;
  })) << answered;
}

} // namespace
} // namespace larch::test
