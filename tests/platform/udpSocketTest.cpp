#include "platform/udpSocket.h"
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace larch;

namespace {

constexpr int64_t tenMilliseconds = 10'000'000, twoSeconds = 2'000'000'000;
const uint32_t loopback = htonl(INADDR_LOOPBACK);

double seconds(const auto& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct openSocket : udpSocket {
  openSocket() {
    EXPECT_EQ(open(), 0);
    EXPECT_EQ(bindAny(), 0);
  }
};

} // namespace

TEST(udpSocketTest, dottedAddressesParseAndOthersGiveTheAddressThatNothingConnectsTo) {
  EXPECT_EQ(parseIpv4("192.168.1.20"), htonl(0xc0a80114));
  EXPECT_EQ(parseIpv4("127.0.0.1"), loopback);
  for (const char* text : {"", "radio", "1.2.3", "1.2.3.4.5", "256.1.1.1", "1.2.3.4 ", "::1"}) {
    EXPECT_EQ(parseIpv4(text), INADDR_NONE) << text;
    openSocket s;
    EXPECT_NE(s.connect(parseIpv4(text), 1024), 0);
  }
}

TEST(udpSocketTest, everyOperationOnASocketThatIsNotOpenGivesItsError) {
  udpSocket s;
  int size;
  char byte = 0;
  const udpSocket::place place{&byte, nullptr};
  EXPECT_EQ(s.receiveBufferSize(size), EBADF);
  EXPECT_EQ(s.setReceiveBufferSize(1), EBADF);
  EXPECT_EQ(s.setExclusive(), EBADF);
  EXPECT_EQ(s.bindAny(), EBADF);
  EXPECT_EQ(s.connect(loopback, 1024), EBADF);
  EXPECT_EQ(s.send(&byte, 1), EBADF);
  EXPECT_EQ(s.receive(&place, 1, 1), -EBADF);
  EXPECT_EQ(s.localPort(), 0);
  EXPECT_GE(seconds([&] { EXPECT_EQ(s.wait(tenMilliseconds), 0); }), 0.01);
}

TEST(udpSocketTest, waitsTheTimeOutWithoutTraffic) {
  openSocket s;
  EXPECT_GE(seconds([&] { EXPECT_EQ(s.wait(tenMilliseconds), 0); }), 0.01);
}

TEST(udpSocketTest, aBatchComesInOrderWithItsSendersAndCutToTheSlot) {
  openSocket receiver, sender;
  std::array<uint8_t, udpSocket::addressBytes> peer;
  udpSocket::writeAddress(peer.data(), loopback, static_cast<uint16_t>(receiver.localPort()));
  constexpr int sent = 100, slot = 16;
  for (uint8_t i = 0; i < sent; i++) {
    const std::vector<uint8_t> data(20, i);
    ASSERT_EQ(sender.sendTo(data.data(), data.size(), peer.data()), 0);
  }
  std::vector<uint8_t> data(sent * slot), addresses(sent * udpSocket::addressBytes);
  std::vector<udpSocket::place> places;
  for (std::size_t i = 0; i < sent; i++) places.push_back({&data[i * slot], &addresses[i * udpSocket::addressBytes]});
  ASSERT_EQ(receiver.wait(twoSeconds), 1);
  EXPECT_EQ(receiver.receive(places.data(), 30, slot), 30);
  EXPECT_EQ(receiver.receive(places.data() + 30, 70, slot), udpSocket::maxBatch);
  EXPECT_EQ(receiver.receive(places.data() + 94, 6, slot), 6);
  EXPECT_EQ(receiver.receive(places.data(), 6, slot), 0);
  for (std::size_t i = 0; i < sent; i++) {
    for (std::size_t j = 0; j < slot; j++) ASSERT_EQ(data[i * slot + j], i);
    uint16_t port;
    std::memcpy(&port, &addresses[i * udpSocket::addressBytes + 2], sizeof port);
    EXPECT_EQ(ntohs(port), sender.localPort());
  }
}

TEST(udpSocketTest, aConnectedSocketHearsItsPeerOnly) {
  openSocket s, peer, stranger;
  ASSERT_EQ(s.connect(loopback, static_cast<uint16_t>(peer.localPort())), 0);
  std::array<uint8_t, udpSocket::addressBytes> own;
  udpSocket::writeAddress(own.data(), loopback, static_cast<uint16_t>(s.localPort()));
  ASSERT_EQ(stranger.sendTo("x", 1, own.data()), 0);
  ASSERT_EQ(peer.sendTo("p", 1, own.data()), 0);
  char byte = 0;
  const udpSocket::place place{&byte, nullptr};
  ASSERT_EQ(s.wait(twoSeconds), 1);
  ASSERT_EQ(s.receive(&place, 1, 1), 1);
  EXPECT_EQ(byte, 'p');
  EXPECT_EQ(s.receive(&place, 1, 1), 0);
}

TEST(udpSocketTest, aClosedPortShowsAsAnErrorOnce) {
  openSocket s;
  uint16_t closed;
  {
    openSocket gone;
    closed = static_cast<uint16_t>(gone.localPort());
  }
  ASSERT_EQ(s.connect(loopback, closed), 0);
  ASSERT_EQ(s.send("x", 1), 0);
  ASSERT_EQ(s.wait(twoSeconds), 1);
  char byte;
  const udpSocket::place place{&byte, nullptr};
  EXPECT_EQ(s.receive(&place, 1, 1), -ECONNREFUSED);
  EXPECT_EQ(s.receive(&place, 1, 1), 0);
}

TEST(udpSocketTest, thePortIsNotShared) {
  openSocket s;
  ASSERT_EQ(s.setExclusive(), 0);
  const int other = socket(AF_INET, SOCK_DGRAM, 0);
  const int on = 1;
  setsockopt(other, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(s.localPort()));
  EXPECT_NE(bind(other, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  close(other);
}

TEST(udpSocketTest, theReceiveBufferGrows) {
  openSocket s;
  int before = 0, after = 0;
  ASSERT_EQ(s.receiveBufferSize(before), 0);
  ASSERT_EQ(s.setReceiveBufferSize(16777216), 0);
  ASSERT_EQ(s.receiveBufferSize(after), 0);
  EXPECT_GE(after, before);
}

TEST(udpSocketTest, anAddressAreaIsClearedAndWritten) {
  std::array<uint8_t, udpSocket::addressBytes> area;
  area.fill(0xee);
  udpSocket::writeAddress(area.data(), htonl(0x01020304), 0x0405);
  const std::array<uint8_t, udpSocket::addressBytes> wanted{2, 0, 4, 5, 1, 2, 3, 4};
  EXPECT_EQ(area, wanted);
}
