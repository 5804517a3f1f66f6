#include "sim/datagramSocket.h"
#include <gtest/gtest.h>
#include "tests/sim/simHost.h"

using namespace larch::sim;
using larch::simtest::bytes;

namespace {
constexpr size_t length = 1444, headerLength = 16;

bytes datagram(size_t n) {
  bytes d(length);
  for (size_t i = 0; i < length; ++i) d[i] = static_cast<uint8_t>(7 * n + i);
  return d;
}

// what a row of `count` datagrams in two pieces each becomes at the other end
void expectRow(datagramSocket& from, size_t count) {
  datagramSocket to(nextLoopbackAddress(), 0);
  std::vector<bytes> sent;
  for (size_t n = 0; n < count; ++n) sent.push_back(datagram(n));
  std::vector<iovec> parts;
  for (bytes& d : sent) {
    parts.push_back({d.data(), headerLength});
    parts.push_back({d.data() + headerLength, length - headerLength});
  }
  EXPECT_EQ(from.sendRow(parts, 2, to.local()), count);
  std::span<const uint8_t> got;
  endpointAddress sender;
  for (size_t n = 0; n < count; ++n) {
    ASSERT_TRUE(to.receive(got, sender)) << n;
    EXPECT_EQ(bytes(got.begin(), got.end()), sent[n]) << n;
    EXPECT_EQ(sender, from.local());
  }
  EXPECT_FALSE(to.receive(got, sender));
}
} // namespace

TEST(datagramSocketTest, aRowArrivesAsItsDatagrams) {
  datagramSocket from(nextLoopbackAddress(), 0);
  from.sendRowsOf(length);
  for (const size_t count : {1, 2, 45, 46, 100}) expectRow(from, count); // 45 fill the longest row
}

TEST(datagramSocketTest, aRowLeavesOneByOneWhereTheKernelCantCutIt) {
  datagramSocket from(nextLoopbackAddress(), 0); // not told of rows
  for (const size_t count : {1, 32, 33, 100}) expectRow(from, count);
}

TEST(datagramSocketTest, shorterDatagramsLeaveASocketOfRowsWhole) {
  datagramSocket from(nextLoopbackAddress(), 0), to(nextLoopbackAddress(), 0);
  from.sendRowsOf(length);
  outgoingDatagram d;
  d.length = 100;
  std::fill_n(d.bytes.begin(), d.length, uint8_t{9});
  EXPECT_EQ(from.send({&d, 1}, to.local()), 1u);
  std::span<const uint8_t> got;
  endpointAddress sender;
  ASSERT_TRUE(to.receive(got, sender));
  EXPECT_EQ(bytes(got.begin(), got.end()), bytes(100, 9));
}
