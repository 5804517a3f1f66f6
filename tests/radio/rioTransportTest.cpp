#include "platform/clock.h"
#include "platform/threadClass.h"
#include "radio/rioTransport.h"
#include "tests/radio/logCapture.h"
#include "tests/radio/plainPeer.h"
#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <set>
#include <sys/resource.h>
#include <thread>

using namespace larch;
using namespace larch::test;
using namespace std::chrono_literals;

namespace {

using clock_ = std::chrono::steady_clock;

// A transport and its radio.
struct pair {
  explicit pair(transportShape shape = transportShape::protocol1, int64_t slots = rioTransport::sendSlots) : transport(shape) {
    EXPECT_EQ(transport.create(radio.address(), slots), 0);
  }
  void fromRadio(const bytes& data) { radio.sendTo(transport.localPort(), data); }
  // the next datagram's slot, over silent turns
  int next(int limit = 1) {
    const auto end = clock_::now() + std::chrono::seconds(5);
    for (;;) {
      const int slot = transport.waitReceive(limit);
      if (slot >= 0 || clock_::now() > end) return slot;
    }
  }
  plainPeer radio;
  rioTransport transport;
};

bytes numbered(uint32_t n, std::size_t length) {
  bytes data(length, static_cast<uint8_t>(n));
  std::memcpy(data.data(), &n, sizeof n);
  return data;
}
uint32_t numberOf(const uint8_t* data) {
  uint32_t n;
  std::memcpy(&n, data, sizeof n);
  return n;
}

} // namespace

TEST(rioTransportTest, aDatagramIsReadInPlace) {
  pair p;
  p.fromRadio(numbered(7, 1032));
  const int slot = p.next();
  ASSERT_GE(slot, 0);
  EXPECT_EQ(numberOf(p.transport.receiveData(slot)), 7u);
  EXPECT_EQ(p.transport.receiveData(slot)[1031], 7);
  EXPECT_EQ(p.transport.outOfKernel(), 1);
  p.transport.releaseReceive(slot);
  EXPECT_EQ(p.transport.outOfKernel(), 0);
  EXPECT_EQ(p.transport.highWater(), 1);
}

TEST(rioTransportTest, aLongDatagramIsCutAndItsNeighboursStay) {
  pair p(transportShape::protocol1, 4);
  for (uint32_t i = 1; i < 4; i++) p.fromRadio(numbered(i, i == 2 ? 2000 : 1032));
  std::set<int> slots;
  for (uint32_t i = 1; i < 4; i++) {
    const int slot = p.next(8);
    ASSERT_GE(slot, 0);
    slots.insert(slot);
  }
  EXPECT_EQ(slots.size(), 3u);
  for (int slot : slots) {
    const uint8_t* data = p.transport.receiveData(slot);
    const uint32_t n = numberOf(data);
    for (int i = 4; i < 1032; i++) ASSERT_EQ(data[i], n) << i;
    for (uint32_t i = 1032; i < 1032 + 2; i++) EXPECT_EQ(data[i], 0) << "slack";
  }
}

TEST(rioTransportTest, aShortDatagramLeavesTheRestOfItsSlot) {
  pair p(transportShape::protocol1, 1);
  p.fromRadio(numbered(5, 1032));
  p.transport.releaseReceive(p.next());
  p.fromRadio({1, 2, 3});
  const int slot = p.next();
  ASSERT_EQ(slot, 0);
  const uint8_t* data = p.transport.receiveData(slot);
  EXPECT_EQ(data[2], 3);
  EXPECT_EQ(data[3], 0); // of the number before
  EXPECT_EQ(data[1031], 5);
}

TEST(rioTransportTest, anEmptyDatagramIsADatagram) {
  pair p;
  p.fromRadio({});
  EXPECT_GE(p.next(), 0);
}

TEST(rioTransportTest, aBurstBeyondTheLimitComesWholeAndInOrder) {
  for (int limit : {1, 2, 7, 128, 1000000}) {
    pair p(transportShape::protocol1, 128);
    for (uint32_t i = 0; i < 100; i++) p.fromRadio(numbered(i, 1032));
    for (uint32_t i = 0; i < 100; i++) {
      const int slot = p.next(limit);
      ASSERT_GE(slot, 0) << limit;
      EXPECT_EQ(numberOf(p.transport.receiveData(slot)), i);
    }
    EXPECT_EQ(p.transport.outOfKernel(), 100);
    EXPECT_EQ(p.transport.waitReceive(limit), -1);
  }
}

TEST(rioTransportTest, aLimitBelowOneTakesNothingAndTakesItsTime) {
  pair p;
  p.fromRadio(numbered(1, 1032));
  for (int limit : {0, -5}) {
    const auto start = clock_::now();
    EXPECT_EQ(p.transport.waitReceive(limit), -1);
    EXPECT_GE(clock_::now() - start, std::chrono::milliseconds(10));
  }
  EXPECT_GE(p.next(1), 0);
}

TEST(rioTransportTest, silenceGivesMinusOneAfterTenMilliseconds) {
  for (auto shape : {transportShape::protocol1, transportShape::protocol2}) {
    pair p(shape);
    const auto start = clock_::now();
    for (int i = 0; i < 5; i++) EXPECT_EQ(p.transport.waitReceive(4), -1);
    EXPECT_GE(clock_::now() - start, std::chrono::milliseconds(50));
  }
}

TEST(rioTransportTest, slotsAreReleasedInAnyOrder) {
  std::mt19937 random(1);
  pair p(transportShape::protocol1, 32);
  std::vector<std::pair<int, uint32_t>> held;
  uint32_t sent = 0;
  for (int round = 0; round < 50; round++) {
    while (held.size() < 20) {
      p.fromRadio(numbered(sent, 1032));
      const int slot = p.next(3);
      ASSERT_GE(slot, 0);
      held.emplace_back(slot, sent++);
    }
    std::shuffle(held.begin(), held.end(), random);
    for (const auto& [slot, number] : held) ASSERT_EQ(numberOf(p.transport.receiveData(slot)), number);
    for (int i = 0; i < 10; i++, held.pop_back()) p.transport.releaseReceive(held.back().first);
  }
  EXPECT_EQ(p.transport.outOfKernel(), 10);
  EXPECT_EQ(p.transport.highWater(), 20);
}

TEST(rioTransportTest, withAllSlotsOutNothingComesUntilOneIsReleased) {
  pair p(transportShape::protocol1, 3);
  for (uint32_t i = 0; i < 5; i++) p.fromRadio(numbered(i, 1032));
  int slots[3];
  for (int& slot : slots) slot = p.next(10);
  const auto start = clock_::now();
  EXPECT_EQ(p.transport.waitReceive(10), -1);
  EXPECT_GE(clock_::now() - start, std::chrono::milliseconds(10));
  p.transport.releaseReceive(slots[1]);
  EXPECT_EQ(p.next(10), slots[1]);
  EXPECT_EQ(numberOf(p.transport.receiveData(slots[1])), 3u);
  p.transport.releaseReceive(slots[0]);
  p.transport.releaseReceive(slots[2]);
  const int last = p.next(10);
  ASSERT_GE(last, 0);
  EXPECT_EQ(numberOf(p.transport.receiveData(last)), 4u);
}

// A fast stream would fill the socket's buffer while its reader sleeps.
TEST(rioTransportTest, aReaderWithAllSlotsOutLooksAgainSoon) {
  pair p(transportShape::protocol2, 2);
  for (uint32_t i = 0; i < 3; i++) p.fromRadio(numbered(i, 1444));
  const int first = p.next(), second = p.next();
  ASSERT_GE(std::min(first, second), 0);
  std::vector<clock_::duration> waits;
  for (int i = 0; i < 20; i++) {
    const auto start = clock_::now();
    EXPECT_EQ(p.transport.waitReceive(1), -1);
    waits.push_back(clock_::now() - start);
  }
  EXPECT_LT(*std::min_element(waits.begin(), waits.end()), 5ms);
  EXPECT_GE(*std::min_element(waits.begin(), waits.end()), 250us) << "and doesn't spin";
  p.transport.releaseReceive(first);
  EXPECT_EQ(numberOf(p.transport.receiveData(p.next())), 2u);
}

TEST(rioTransportTest, everySlotKnowsTheLengthOfItsDatagram) {
  for (const transportShape shape : {transportShape::protocol1, transportShape::protocol2}) {
    pair p(shape, 8);
    const std::size_t lengths[] = {4, 1444, 0, 1032, 2000, 3000};
    for (const std::size_t length : lengths) p.fromRadio(bytes(length, 1));
    for (const std::size_t length : lengths)
      EXPECT_EQ(p.transport.receiveLength(p.next(8)), std::min<std::size_t>(length, p.transport.slotSize()));
  }
}

TEST(rioTransportTest, aReleaseOfASlotThatIsNotOutIsLoggedAndChangesNothing) {
  for (auto shape : {transportShape::protocol1, transportShape::protocol2}) {
    logCapture log;
    pair p(shape, 4);
    for (int index : {0, -1, 4, 1 << 20}) p.transport.releaseReceive(index);
    const char* words = shape == transportShape::protocol1 ? "RIOReceive1 22" : "RIOReceive2 22";
    EXPECT_EQ(log.times(words), 4) << log.text();
    EXPECT_EQ(p.transport.outOfKernel(), 0);
    for (uint32_t i = 0; i < 4; i++) p.fromRadio(numbered(i, 100));
    std::set<int> slots;
    for (int i = 0; i < 4; i++) slots.insert(p.next());
    EXPECT_EQ(slots, (std::set<int>{0, 1, 2, 3}));
  }
}

TEST(rioTransportTest, sendSlotsGoRoundAndKeepTheirLengths) {
  pair p;
  const int first = p.transport.allocateSend(1032);
  for (int i = 1; i < 3 * rioTransport::sendSlots; i++) {
    const int index = p.transport.allocateSend(static_cast<uint32_t>(i % 1000));
    ASSERT_EQ(index, (first + i) % rioTransport::sendSlots);
    std::memset(p.transport.sendDataArea(index), i & 255, 1032);
    ASSERT_EQ(p.transport.sendData(index), 0);
    ASSERT_EQ(p.radio.receive(), bytes(static_cast<std::size_t>(i % 1000), static_cast<uint8_t>(i)));
    ASSERT_EQ(p.radio.peerPort, p.transport.localPort());
  }
}

TEST(rioTransportTest, sendSlotsDoNotOverlapEachOtherOrTheReceiveSlots) {
  for (auto shape : {transportShape::protocol1, transportShape::protocol2}) {
    pair p(shape, 5);
    std::vector<const uint8_t*> starts;
    for (int i = 0; i < p.transport.receiveSlots(); i++) starts.push_back(p.transport.receiveData(i));
    for (int i = 0; i < rioTransport::sendSlots; i++) starts.push_back(p.transport.sendDataArea(i));
    const std::size_t area = p.transport.slotSize() + (shape == transportShape::protocol2 ? udpSocket::addressBytes : 0);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(starts[0]) % 4096, 0u);
    for (std::size_t i = 1; i < starts.size(); i++) EXPECT_GE(starts[i] - starts[i - 1], std::ptrdiff_t(area + 2));
    for (const uint8_t* start : starts) EXPECT_TRUE(std::all_of(start, start + area, [](uint8_t b) { return b == 0; }));
  }
}

TEST(rioTransportTest, aSendLongerThanTheSlotIsRefusedAndLogged) {
  logCapture log;
  pair one, two(transportShape::protocol2);
  EXPECT_EQ(one.transport.slotSize(), 1032u);
  EXPECT_EQ(two.transport.slotSize(), 2048u);
  EXPECT_EQ(one.transport.allocateSend(1033), -2);
  EXPECT_TRUE(log.has("RIOSend buffer too long 1033 1032"));
  EXPECT_EQ(two.transport.allocateSend(2049), -2);
  EXPECT_TRUE(log.has("RIOSend buffer too long 2049 2048"));
  EXPECT_EQ(one.transport.allocateSend(1032), 0); // a refusal takes no slot
  EXPECT_EQ(two.transport.allocateSend(2048), 0);
}

TEST(rioTransportTest, beforeCreateNothingIsGivenOut) {
  logCapture log;
  rioTransport transport(transportShape::protocol1);
  EXPECT_EQ(transport.allocateSend(64), -2);
  EXPECT_EQ(transport.allocateSend(0), -2);
  EXPECT_TRUE(log.has("RIOSend buffer too long 64 0"));
  EXPECT_EQ(transport.waitReceive(1), -1);
  transport.releaseReceive(0);
}

TEST(rioTransportTest, theUnconnectedShapeSendsToEachPortAndKnowsTheSender) {
  pair p(transportShape::protocol2, 256);
  const int second = plainPeer::open(p.radio.address(), 1027);
  ASSERT_GE(second, 0);
  const int index = p.transport.allocateSend(60);
  std::memset(p.transport.sendDataArea(index), 9, 60);
  ASSERT_EQ(p.transport.send(index, 1027, 44), 0);
  uint8_t data[100];
  ASSERT_EQ(recv(second, data, sizeof data, 0), 44);
  EXPECT_EQ(data[43], 9);
  plainPeer::sendFrom(second, p.transport.localPort(), numbered(3, 1444));
  const int slot = p.next();
  ASSERT_GE(slot, 0);
  const uint8_t* address = p.transport.receiveAddress(slot);
  EXPECT_EQ(address[2] * 256 + address[3], 1027);
  EXPECT_EQ(p.transport.receiveData(slot)[1443], 3);
  ::close(second);
}

TEST(rioTransportTest, aFastUnconnectedStreamLosesNothing) {
  pair p(transportShape::protocol2);
  uint32_t expected = 0;
  for (uint32_t sent = 0; sent < 20000;) { // in bursts of 50, so that drains are left to gather
    for (int i = 0; i < 50; i++) p.fromRadio(numbered(sent++, 1444));
    while (expected < sent) {
      const int slot = p.next(1);
      ASSERT_GE(slot, 0);
      ASSERT_EQ(numberOf(p.transport.receiveData(slot)), expected++);
      p.transport.releaseReceive(slot);
    }
  }
}

// A gathered drain that doesn't empty the socket is followed at once by the next one: gathering must not bound the rate.
TEST(rioTransportTest, aFastUnconnectedStreamGathersButIsNotHeldBackWhenMoreWaits) {
  // radios of other tests in this process go on by the same clocks
  static const uint32_t self = threadId();
  static int sleeps;
  static std::atomic<int64_t> now;
  static const clockSource simulated{[] { return now += 1000; }, [] { return int64_t{0}; },
                                     [](int64_t) { threadId() == self ? void(sleeps++) : std::this_thread::sleep_for(1ms); }};
  sleeps = 0, now = 1'000'000'000;
  setClockSource(&simulated);
  for (auto shape : {transportShape::protocol1, transportShape::protocol2}) {
    pair p(shape, 256);
    for (uint32_t i = 0; i < 200; i++) { // one each: the pace is seen as high
      p.fromRadio(numbered(i, 1000));
      p.transport.releaseReceive(p.next());
    }
    if (shape == transportShape::protocol1)
      EXPECT_EQ(sleeps, 0) << "the connected shape stays prompt";
    else
      EXPECT_GT(sleeps, 100) << "drains that emptied the socket wait for company";
    sleeps = 0;
    constexpr uint32_t burst = 160;
    for (uint32_t i = 0; i < burst; i++) p.fromRadio(numbered(i, 1000));
    for (uint32_t i = 0; i < burst; i++) p.transport.releaseReceive(p.next());
    EXPECT_LE(sleeps, 1) << "only before the first drain";
  }
  setClockSource(nullptr);
}

TEST(rioTransportTest, aRadioThatIsNotThereIsLoggedAndTheTransportGoesOn) {
  logCapture log;
  pair p;
  p.radio.close();
  const int first = p.transport.allocateSend(64);
  EXPECT_EQ(p.transport.sendData(first), 0);
  EXPECT_EQ(p.transport.sendData(first), -1); // the first one's refusal
  EXPECT_TRUE(log.has("RIOSend err 111")) << log.text();
  p.transport.sendData(first);
  const auto end = clock_::now() + std::chrono::seconds(5);
  while (!log.has("RIODequeueCompletion 111") && clock_::now() < end) EXPECT_EQ(p.transport.waitReceive(1), -1);
  EXPECT_TRUE(log.has("RIODequeueCompletion 111")) << log.text();

  const int again = plainPeer::open(p.radio.address(), 1024); // the radio comes up
  ASSERT_GE(again, 0);
  plainPeer::sendFrom(again, p.transport.localPort(), numbered(1, 1032));
  EXPECT_GE(p.next(), 0);
  EXPECT_EQ(p.transport.sendData(first), 0);
  ::close(again);
}

TEST(rioTransportTest, anAddressThatNothingConnectsToGivesMinusSixAndAWorkingShell) {
  logCapture log;
  rioTransport transport(transportShape::protocol1);
  EXPECT_EQ(transport.create(parseIpv4("not an address"), 128), -6);
  EXPECT_TRUE(log.has("create rio failed 13 13")) << log.text();
  EXPECT_EQ(transport.waitReceive(1), -1);
  const int index = transport.allocateSend(64);
  ASSERT_GE(index, 0);
  EXPECT_EQ(transport.sendData(index), -1);
  EXPECT_TRUE(log.has("RIOSend err 89")) << log.text(); // no destination
  EXPECT_NE(transport.connectRadio(), 0);
}

TEST(rioTransportTest, theUnconnectedShapeLogsAnUnreachableRadioAtEachSend) {
  logCapture log;
  rioTransport transport(transportShape::protocol2);
  EXPECT_EQ(transport.create(parseIpv4("")), 0);
  EXPECT_EQ(transport.receiveSlots(), 256);
  EXPECT_EQ(transport.send(transport.allocateSend(60), 1024, 60), -1);
  EXPECT_TRUE(log.has("RIOSend 13")) << log.text();
}

TEST(rioTransportTest, slotCountsOutOfRangeAreBounded) {
  plainPeer radio;
  for (int64_t slots : {int64_t{0}, int64_t{-128}, int64_t{-2147483648LL} * 128}) {
    rioTransport transport(transportShape::protocol1);
    EXPECT_EQ(transport.create(radio.address(), slots), 0);
    EXPECT_EQ(transport.receiveSlots(), 0);
    EXPECT_EQ(transport.waitReceive(1), -1);
    EXPECT_EQ(transport.sendData(transport.allocateSend(64)), 0);
  }
  rioTransport transport(transportShape::protocol1);
  EXPECT_EQ(transport.create(radio.address(), int64_t{2147483647} * 128), 0);
  EXPECT_EQ(transport.receiveSlots(), rioTransport::maxReceiveSlots);
}

TEST(rioTransportTest, withoutASocketEachStepIsLoggedAndNothingStops) {
  logCapture log;
  rlimit old{}, none{};
  getrlimit(RLIMIT_NOFILE, &old);
  none = old;
  none.rlim_cur = 0;
  rioTransport transport(transportShape::protocol1);
  setrlimit(RLIMIT_NOFILE, &none);
  const int result = transport.create(htonl(INADDR_LOOPBACK), 128);
  setrlimit(RLIMIT_NOFILE, &old);
  EXPECT_EQ(result, -2);
  for (const char* words :
       {"Rio Invalid socket 24", "setsockopt ", "setsockopt 2 ", "setsockopt 3", "Rio Bind Failure 9", "create rio failed 9 9"})
    EXPECT_TRUE(log.has(words)) << words << log.text();
  EXPECT_EQ(transport.sendData(transport.allocateSend(64)), -1);
  EXPECT_TRUE(log.has("RIOSend err 9"));
  EXPECT_EQ(transport.waitReceive(1), -1);
}

TEST(rioTransportTest, withoutMemoryEverySendIsRefused) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer's own memory is beyond any limit";
#endif
  logCapture log;
  rlimit old{}, low{};
  getrlimit(RLIMIT_AS, &old);
  low = old;
  low.rlim_cur = 4096;
  rioTransport transport(transportShape::protocol1);
  setrlimit(RLIMIT_AS, &low);
  const int result = transport.create(htonl(INADDR_LOOPBACK), 128);
  setrlimit(RLIMIT_AS, &old);
  EXPECT_EQ(result, -3);
  EXPECT_TRUE(log.has("rio alloc failure")) << log.text();
  EXPECT_EQ(transport.allocateSend(64), -2);
  EXPECT_EQ(transport.waitReceive(1), -1);
}

// Two threads send in the unconnected shape, one of them while it receives.
TEST(rioTransportCONCURRENTTest, twoThreadsTakeDistinctSendSlots) {
  pair p(transportShape::protocol2);
  constexpr int rounds = 60; // together fewer than the slots
  std::vector<int> taken[2];
  auto work = [&](int self) {
    for (int i = 0; i < rounds; i++) {
      const int index = p.transport.allocateSend(8);
      std::memset(p.transport.sendDataArea(index), self, 8);
      p.transport.send(index, 1024, 8);
      taken[self].push_back(index);
      if (self == 0) p.transport.waitReceive(1);
    }
  };
  std::thread other(work, 1);
  work(0);
  other.join();
  std::set<int> all(taken[0].begin(), taken[0].end());
  all.insert(taken[1].begin(), taken[1].end());
  EXPECT_EQ(all.size(), std::size_t{2 * rounds});
  int seen[2] = {};
  for (int i = 0; i < 2 * rounds; i++) {
    const bytes data = p.radio.receive();
    ASSERT_EQ(data.size(), 8u);
    seen[data[0] & 1]++;
  }
  EXPECT_EQ(seen[0], rounds);
  EXPECT_EQ(seen[1], rounds);
}
