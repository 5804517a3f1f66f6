#include "host/commands.h"
#include "host/deviceList.h"
#include "host/discovery.h"
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <netinet/in.h>
#include <pthread.h>
#include <sched.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace larchhost {
namespace {

constexpr int wantedBuffer = 16 << 20; // bytes, what the library asks for
constexpr int enoughBuffer = 4 << 20;  // rides out 100 ms of the fastest stream
constexpr int realTimePriority = 10;
constexpr int searchTime_ms = 700;

void report(bool good, const std::string& what, const std::string& advice) {
  fmt::print("{} {}\n", good ? "good " : "CHECK", what);
  if (!good) fmt::print("      {}\n", advice);
}

bool checkRealTime() {
  int refused = 0;
  std::thread([&] {
    sched_param p{};
    p.sched_priority = realTimePriority;
    refused = pthread_setschedparam(pthread_self(), SCHED_RR, &p);
  }).join();
  report(refused == 0,
         refused ? fmt::format("real-time scheduling: refused ({})", std::strerror(refused)) : "real-time scheduling: granted",
         "as root: add '@audio - rtprio 20' to /etc/security/limits.d/audio.conf, join the group audio, log in again");
  return refused == 0;
}

bool checkBuffer() {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    report(false, fmt::format("UDP socket: {}", std::strerror(errno)), "the system gives no socket");
    return false;
  }
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &wantedBuffer, sizeof wantedBuffer) != 0)
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &wantedBuffer, sizeof wantedBuffer);
  int granted = 0;
  socklen_t size = sizeof granted;
  getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &granted, &size);
  close(fd);
  granted /= 2; // the kernel doubles it for its own books
  report(granted >= enoughBuffer, fmt::format("receive buffer: {} KiB of {} KiB granted", granted / 1024, wantedBuffer / 1024),
         fmt::format("as root: sysctl -w net.core.rmem_max={}", wantedBuffer));
  return granted >= enoughBuffer;
}

bool checkDevices() {
  const deviceLists lists = readDevices();
  const size_t outputs = lists.outputs.empty() ? 0 : lists.outputs.size() - 1,
               inputs = lists.inputs.empty() ? 0 : lists.inputs.size() - 1;
  report(outputs > 0, fmt::format("48 kHz sound outputs: {} entries, inputs: {}", outputs, inputs),
         "no output plays 48 kHz stereo: reception runs, but silently; see larch devices");
  return outputs > 0;
}

bool checkRadio(const std::string& address) {
  const auto found = discover(address, searchTime_ms);
  if (found.empty()) {
    report(false, "radio: none answers",
           "is it on and in this network? a directed question may help: larch doctor --radio ADDRESS");
    return false;
  }
  bool good = true;
  for (const auto& r : found) {
    report(!r.inUse,
           fmt::format("radio at {}: {}{}", r.address, r.inUse ? "in use by another program" : "idle",
                       r.protocol == 2 ? ", Protocol 2: only receives" : ""),
           "stop the other program, or power the radio off and on");
    good = good && !r.inUse;
  }
  return good;
}

} // namespace

int doctorCommand(const std::string& address) {
  bool good = checkRealTime();
  good = checkBuffer() && good;
  const unsigned cores = std::thread::hardware_concurrency();
  report(cores >= 2, fmt::format("processors: {}", cores), "one core serves few receivers at low rates");
  good = checkDevices() && good;
  good = checkRadio(address) && good;
  fmt::print("{}\n", good ? "the station is ready" : "see above; a station may still work with what is marked CHECK");
  return good ? success : failure;
}

} // namespace larchhost
