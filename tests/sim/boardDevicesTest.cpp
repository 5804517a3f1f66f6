#include "sim/boardDevices.h"
#include <gtest/gtest.h>
#include "tests/sim/transmittingHost.h"
#include "tests/support/protocol1Vectors.h"

using namespace larch::sim;
using namespace larch::simtest;

namespace {
struct bench {
  explicit bench(int firmware, bool present = true) : devices(present, firmware) {}
  // by default a frame that comes late enough
  std::string write(uint8_t device, uint8_t location, uint8_t value, uint64_t frames = 40) {
    devices.pass(frames);
    return devices.write({0x06, device, location, value}, problems);
  }
  boardDevices devices;
  problemLog problems;
};
} // namespace

TEST(boardDevicesTest, newFirmwareTakesTheBiasAsItIs) {
  bench b(60);
  EXPECT_EQ(b.write(0xAC, 0x00, 200), "set bias 0: 200");
  EXPECT_EQ(b.write(0xAC, 0x10, 17), "set bias 1: 17");
  EXPECT_EQ(b.devices.state().bias[0], 200);
  EXPECT_EQ(b.devices.state().bias[1], 17);
  EXPECT_FALSE(b.devices.state().storedBias[0]);
  EXPECT_EQ(b.write(0xAC, 0x20, 201), "stored bias 0: 201");
  EXPECT_EQ(b.write(0xAC, 0x30, 18), "stored bias 1: 18");
  EXPECT_EQ(b.devices.state().storedBias[0], 201);
  EXPECT_EQ(b.devices.state().storedBias[1], 18);
  EXPECT_EQ(b.devices.state().bias[0], 200);
  EXPECT_EQ(b.devices.state().writes, 4u);
  EXPECT_EQ(b.devices.state().stores, 2u);
  EXPECT_EQ(b.problems.total(), 0u);
}

TEST(boardDevicesTest, oldFirmwareTakesItInvertedAtAnotherAddress) {
  bench b(59);
  EXPECT_EQ(b.write(0xA8, 0x00, 55), "set bias 0: 200");
  EXPECT_EQ(b.write(0xA8, 0x30, 0xFF), "stored bias 1: 0");
  EXPECT_EQ(b.write(0xA8, 0x60, 0x12), "stored status: 0x12"); // the bias alone is inverted
  EXPECT_EQ(b.problems.total(), 0u);
  EXPECT_EQ(b.write(0xAC, 0x00, 55), "");
  EXPECT_EQ(b.problems.count(problem::unknownDevice), 1u);
  bench next(60);
  EXPECT_EQ(next.write(0xA8, 0x00, 55), "");
  EXPECT_EQ(next.problems.count(problem::unknownDevice), 1u);
}

TEST(boardDevicesTest, theExternalBiasIsTheSameForAll) {
  for (const int firmware : {59, 60}) {
    bench b(firmware);
    EXPECT_EQ(b.write(0xAE, 0x00, 55), "set external bias: 55");
    EXPECT_EQ(b.write(0xAE, 0x20, 56), "stored external bias: 56");
    EXPECT_EQ(b.devices.state().externalBias, 55);
    EXPECT_EQ(b.devices.state().storedExternalBias, 56);
    EXPECT_EQ(b.write(0xAE, 0x10, 1), "");
    EXPECT_EQ(b.problems.count(problem::unknownDevice), 1u);
  }
}

TEST(boardDevicesTest, addressMacAndStatusAreKept) {
  bench b(72);
  EXPECT_EQ(b.write(0xAC, 0x80, 192), "");
  EXPECT_EQ(b.write(0xAC, 0x90, 168), "");
  EXPECT_EQ(b.write(0xAC, 0xA0, 1), "");
  EXPECT_EQ(b.write(0xAC, 0xB0, 20), "stored address: 192.168.1.20");
  EXPECT_EQ(b.write(0xAC, 0xC0, 0x12), "");
  EXPECT_EQ(b.write(0xAC, 0xD0, 0x34), "stored MAC tail: 12:34");
  EXPECT_EQ(b.write(0xAC, 0x60, 0x81), "stored status: 0x81");
  EXPECT_EQ(b.devices.state().addressText(), "192.168.1.20");
  EXPECT_EQ(b.devices.state().macTail[0], 0x12);
  EXPECT_EQ(b.devices.state().status, 0x81);
  EXPECT_EQ(b.devices.state().stores, 7u);
  EXPECT_EQ(b.problems.total(), 0u);
}

TEST(boardDevicesTest, aStoreTakesFortyFrames) {
  bench b(72);
  EXPECT_NE(b.write(0xAC, 0x00, 1, 1), "");
  EXPECT_NE(b.write(0xAC, 0x20, 2, 1), ""); // a set takes no time
  EXPECT_EQ(b.write(0xAC, 0x30, 3, 39), "");
  EXPECT_EQ(b.problems.count(problem::deviceBusy), 1u);
  EXPECT_FALSE(b.devices.state().storedBias[1]); // lost
  EXPECT_NE(b.write(0xAC, 0x30, 4, 1), "");      // 40 after the store
  EXPECT_EQ(b.write(0xAE, 0x00, 5, 20), "");
  EXPECT_EQ(b.problems.count(problem::deviceBusy), 2u);
}

TEST(boardDevicesTest, whatABoardDoesntHaveIsAProblem) {
  bench none(72, false);
  EXPECT_EQ(none.write(0xAC, 0x00, 1), "");
  EXPECT_EQ(none.problems.count(problem::unknownDevice), 1u);
  bench b(72);
  uint64_t known = 0;
  for (int location = 0; location < 256; ++location) {
    const uint64_t before = b.devices.state().writes;
    b.write(0xAC, static_cast<uint8_t>(location), 1);
    known += b.devices.state().writes - before;
  }
  EXPECT_EQ(known, 11u);
  EXPECT_EQ(b.problems.count(problem::unknownDevice), 256u - 11);
  b.devices.pass(40);
  EXPECT_EQ(b.devices.write({0x07, 0xAC, 0x00, 1}, b.problems), ""); // a read
  EXPECT_EQ(b.problems.count(problem::unknownDevice), 256u - 10);
}

TEST(boardDevicesTest, theRadioAppliesQueuedCommandsWithAndWithoutMox) {
  transmittingHost s;
  std::vector<std::string> done;
  s.radio->onDevice([&](const std::string& words) { done.push_back(words); });
  s.begin(7100000, 7100000);
  const auto nothing = [](size_t) { return std::complex<double>(); };
  s.next = {0xFA, 0x06, 0xAC, 0x20, 200};
  s.exchange(20, false, nothing); // 40 frames
  s.next = {0xFA, 0x06, 0xAC, 0x30, 100};
  s.exchange(10, true, nothing);
  s.next = {0xFA, 0x06, 0xAC, 0x60, 1}; // 20 frames later
  s.exchange(1, true, nothing);
  EXPECT_EQ(done, (std::vector<std::string>{"stored bias 0: 200", "stored bias 1: 100"}));
  EXPECT_EQ(s.radio->report().devices.storedBias[1], 100);
  EXPECT_EQ(s.radio->problems().count(problem::deviceBusy), 1u);
  s.lose(12); // frames that were lost took their time, too
  s.next = {0xFA, 0x06, 0xAC, 0x60, 2};
  s.exchange(1, false, nothing);
  EXPECT_EQ(done.back(), "stored status: 0x02");
}

TEST(boardDevicesTest, discoveryTellsWhatIsStored) {
  boardProfile board = *findBoard("hermeslite2");
  radioOptions options;
  options.board = &board;
  transmittingHost s(options);
  s.begin(7100000, 7100000);
  const auto nothing = [](size_t) { return std::complex<double>(); };
  for (const auto& [location, value] :
       {std::pair{0x60, 0xC0}, {0x80, 192}, {0x90, 168}, {0xA0, 1}, {0xB0, 20}, {0xC0, 0x12}, {0xD0, 0x34}}) {
    s.next = {0xFA, 0x06, 0xAC, static_cast<uint8_t>(location), static_cast<uint8_t>(value)};
    s.exchange(20, false, nothing);
  }
  s.host.send(larch::vectors::discovery());
  ASSERT_TRUE(s.radio->waitUntil([](const radioReport& r) { return r.discoveries == 1; }));
  const bytes answer = s.host.receive(2000);
  ASSERT_EQ(answer.size(), 60u);
  EXPECT_EQ(bytes(answer.begin() + 11, answer.begin() + 19), (bytes{0xC0, 0, 192, 168, 1, 20, 0x12, 0x34}));
}
