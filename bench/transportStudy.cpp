// What a received datagram costs the receive thread, by shape and rate: transportStudy [seconds a row].
// A second thread sends at an even pace over the loopback, spinning between the datagrams.
#include "platform/clock.h"
#include "radio/rioTransport.h"
#include <arpa/inet.h>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace larch;

namespace {

constexpr int protocol1Bytes = 1032, protocol2Bytes = 1444;
const uint32_t radioAddress = htonl(0x7f0a0b0cu);

double threadCpu_s() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

int radioSocket(int port) {
  const int s = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in own{}, peer{};
  own.sin_family = peer.sin_family = AF_INET;
  own.sin_port = htons(rioTransport::radioPort);
  own.sin_addr.s_addr = radioAddress;
  peer.sin_port = htons(static_cast<uint16_t>(port));
  peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(s, reinterpret_cast<sockaddr*>(&own), sizeof own) || connect(s, reinterpret_cast<sockaddr*>(&peer), sizeof peer)) {
    std::perror("radio socket");
    std::exit(1);
  }
  return s;
}

uint64_t sendAtPace(int port, int rate, double seconds, std::size_t length) {
  const int s = radioSocket(port);
  const std::vector<char> data(length);
  const int64_t start = monotonicNow_ns(), step = 1'000'000'000 / rate;
  const auto count = static_cast<uint64_t>(rate * seconds);
  for (uint64_t i = 0; i < count; i++) {
    while (monotonicNow_ns() < start + static_cast<int64_t>(i) * step) {
    }
    if (::send(s, data.data(), data.size(), 0) < 0) std::perror("send");
  }
  close(s);
  return count;
}

void row(transportShape shape, int rate, double seconds) {
  rioTransport transport(shape);
  if (transport.create(radioAddress, 1024) != 0) std::exit(1);
  const bool first = shape == transportShape::protocol1;
  std::atomic<bool> done{false};
  uint64_t sent = 0;
  std::thread sender([&] {
    sent = sendAtPace(transport.localPort(), rate, seconds, first ? protocol1Bytes : protocol2Bytes);
    done = true;
  });
  uint64_t received = 0;
  const double start = threadCpu_s();
  for (;;) {
    const int slot = transport.waitReceive(1);
    if (slot >= 0) {
      received++;
      transport.releaseReceive(slot);
    } else if (done)
      break;
  }
  const double cpu = threadCpu_s() - start;
  sender.join();
  std::printf("| %s | %7d | %6.0f | %6.2f | %6.3f |\n", first ? "prompt" : "gathered", rate,
              cpu / static_cast<double>(received) * 1e9, cpu / seconds * 100,
              100.0 * static_cast<double>(sent - received) / static_cast<double>(sent));
  std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 1.0;
  std::printf("| drain | datagrams/s | CPU ns each | %% of a core | lost %% |\n|---|---|---|---|---|\n");
  for (int rate : {1000, 3000, 6500, 26000, 103000})
    for (auto shape : {transportShape::protocol1, transportShape::protocol2}) row(shape, rate, seconds);
}
