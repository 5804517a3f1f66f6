// Which ports count as this process's own.
#include "host/multipskPort.h"
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace larchhost;

namespace {

// A socket at a port of the system's choice.
class openSocket {
 public:
  explicit openSocket(int type) : file_(socket(AF_INET, type | SOCK_CLOEXEC, 0)) {
    sockaddr_in at{};
    at.sin_family = AF_INET;
    socklen_t size = sizeof at;
    EXPECT_EQ(bind(file_, reinterpret_cast<const sockaddr*>(&at), size), 0);
    EXPECT_EQ(getsockname(file_, reinterpret_cast<sockaddr*>(&at), &size), 0);
    port_ = ntohs(at.sin_port);
  }
  ~openSocket() { close(file_); }
  openSocket(const openSocket&) = delete;
  openSocket& operator=(const openSocket&) = delete;
  void listen() const { EXPECT_EQ(::listen(file_, 1), 0); }
  int32_t port() const { return port_; }

 private:
  int file_;
  int32_t port_ = 0;
};

} // namespace

TEST(multipskPortTest, onlyAListenerHasAPort) {
  const openSocket datagrams(SOCK_DGRAM), other(SOCK_STREAM);
  EXPECT_FALSE(listensAt(datagrams.port()));
  other.listen();
  int32_t port = 0;
  {
    const openSocket mine(SOCK_STREAM);
    port = mine.port();
    EXPECT_FALSE(listensAt(port)) << "bound, but deaf";
    mine.listen();
    EXPECT_TRUE(listensAt(port));
    EXPECT_TRUE(listensAt(other.port()));
  }
  EXPECT_FALSE(listensAt(port)) << "closed";
}

TEST(multipskPortTest, numbersThatAreNoPortsArentListenedAt) {
  const openSocket mine(SOCK_STREAM);
  mine.listen();
  for (const int32_t number : {-1, 0, 65536, 65536 + mine.port()}) EXPECT_FALSE(listensAt(number)) << number;
}
