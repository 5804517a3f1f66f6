#include "sim/protocol2Ports.h"
#include <algorithm>
#include <poll.h>
#include <unistd.h>

namespace larch::sim {

protocol2Ports::protocol2Ports(const std::string& address) {
  for (const uint16_t port : p2CommandPorts) commands.push_back(std::make_unique<datagramSocket>(address, port));
  for (uint16_t r = 0; r < p2MaxReceivers; ++r)
    receivers.push_back(std::make_unique<datagramSocket>(address, static_cast<uint16_t>(p2FirstReceiverPort + r)));
  for (size_t s = 0; s < p2Sources; ++s) socketOf(s).sendRowsOf(p2DatagramBytes(static_cast<p2Source>(s)));
}

datagramSocket& protocol2Ports::socketOf(size_t source) {
  constexpr auto first = static_cast<size_t>(p2Source::firstReceiver);
  return source < first ? *commands[source + 1] : *receivers[source - first]; // 1025, 1026, 1027; 1035 and up
}

std::string protocol2Ports::address() const {
  const std::string text = commands[0]->local().text();
  return text.substr(0, text.find(':'));
}

bool protocol2Ports::receive(size_t& port, std::span<const uint8_t>& datagram, endpointAddress& sender) {
  for (size_t tried = 0; tried < commands.size(); ++tried) {
    port = nextPort;
    if (commands[port]->receive(datagram, sender)) return true;
    nextPort = (nextPort + 1) % commands.size();
  }
  return false;
}

bool protocol2Ports::answer(size_t port, std::span<const uint8_t> datagram, const endpointAddress& to) {
  return commands[port]->sendOne(datagram, to);
}

void protocol2Ports::wait(int64_t timeout_ns) {
  constexpr int64_t second_ns = 1000000000;
  std::array<pollfd, p2Packets + 1> fds;
  for (size_t i = 0; i < p2Packets; ++i) fds[i] = {commands[i]->descriptor(), POLLIN, 0};
  fds[p2Packets] = {commands[0]->wakeDescriptor(), POLLIN, 0};
  const timespec timeout{timeout_ns / second_ns, timeout_ns % second_ns};
  ppoll(fds.data(), fds.size(), &timeout, nullptr);
  uint64_t ticks;
  if ((fds[p2Packets].revents & POLLIN) != 0)
    while (read(fds[p2Packets].fd, &ticks, sizeof ticks) > 0) {
    }
}

void protocol2Ports::wake() { commands[0]->wake(); }

void protocol2Ports::add(p2Source source, uint32_t sequence, std::span<const uint8_t> header, std::span<const uint8_t> payload) {
  queuedDatagram& d = queued[static_cast<size_t>(source)].emplace_back();
  d.sequence = sequence;
  d.headerLength = std::min(header.size(), longestHeader);
  std::copy_n(header.begin(), d.headerLength, d.header.begin());
  d.payload = payload;
}

void protocol2Ports::flush(const endpointAddress& to) {
  for (size_t s = 0; s < p2Sources; ++s) {
    if (queued[s].empty()) continue;
    if (injectors[s].idle())
      flushRow(s, to);
    else
      flushFaulty(s, to);
    queued[s].clear();
  }
}

void protocol2Ports::flushRow(size_t source, const endpointAddress& to) {
  parts.clear();
  size_t each = 1;
  for (queuedDatagram& d : queued[source]) {
    parts.push_back({d.header.data(), d.headerLength});
    if (!d.payload.empty()) parts.push_back({const_cast<uint8_t*>(d.payload.data()), d.payload.size()}), each = 2;
  }
  refusedByKernel += queued[source].size() - socketOf(source).sendRow(parts, each, to);
}

void protocol2Ports::flushFaulty(size_t source, const endpointAddress& to) {
  spoiled.clear();
  const bool isIq = source >= static_cast<size_t>(p2Source::firstReceiver);
  for (const queuedDatagram& d : queued[source]) {
    outgoingDatagram whole;
    whole.length = d.headerLength + d.payload.size();
    std::copy_n(d.header.begin(), d.headerLength, whole.bytes.begin());
    std::copy(d.payload.begin(), d.payload.end(), whole.bytes.begin() + static_cast<ptrdiff_t>(d.headerLength));
    injectors[source].pass(whole, isIq, d.sequence, spoiled);
  }
  refusedByKernel += spoiled.size() - socketOf(source).send(spoiled, to);
}

void protocol2Ports::drop() {
  for (auto& q : queued) q.clear();
  for (auto& i : injectors) i.dropHeld();
}

void protocol2Ports::setFaults(const faultPlan& plan) {
  for (size_t s = 0; s < p2Sources; ++s) {
    faultPlan own = plan;
    own.seed = plan.seed * p2Sources + s;
    injectors[s].setPlan(std::move(own));
  }
}

void protocol2Ports::setSilent(bool on) {
  for (auto& i : injectors) i.setSilent(on);
}

faultCounts protocol2Ports::faults() const {
  faultCounts sum;
  for (const faultInjector& i : injectors) {
    const faultCounts& c = i.counts();
    sum.lost += c.lost, sum.repeated += c.repeated, sum.reordered += c.reordered, sum.cut += c.cut;
    sum.corrupted += c.corrupted, sum.delayed += c.delayed, sum.silenced += c.silenced;
  }
  return sum;
}

} // namespace larch::sim
