#include "sim/protocol2Radio.h"
#include <algorithm>
#include <fmt/format.h>

namespace larch::sim {

namespace {
constexpr double turn_s = 0.001;          // the sending thread's beat
constexpr double longestCatchUp_s = 0.25; // later than that it gives up the time that was lost
constexpr double hostWatchdog_s = 1;
constexpr int64_t idleWait_ns = 100000000;
constexpr size_t commandAt = 4;

int ownedBy(const protocol2Options& o) {
  return std::clamp(o.receivers > 0 ? o.receivers : o.board->receivers, 1, p2MaxReceivers);
}
double clockOf(const protocol2Options& o) { return o.clock_Hz > 0 ? o.clock_Hz : o.board->clock_Hz; }
} // namespace

protocol2Radio::protocol2Radio(protocol2Options options, std::shared_ptr<const bandScene> scene)
    : built(options), ports(options.bindAddress), stream(options, std::move(scene)), host(ownedBy(options), clockOf(options)),
      inUse(options.inUse) {}

protocol2Radio::~protocol2Radio() { stop(); }

std::unique_ptr<protocol2Radio> protocol2Radio::onFreeLoopback(protocol2Options options, std::shared_ptr<const bandScene> scene) {
  return boundToFreeLoopback([&](const std::string& address) {
    options.bindAddress = address;
    return std::make_unique<protocol2Radio>(options, scene);
  });
}

std::string protocol2Radio::address() const { return ports.address(); }

// ---- from the host

size_t protocol2Radio::take() {
  std::span<const uint8_t> datagram;
  endpointAddress sender;
  size_t count = 0;
  for (size_t port = 0; ports.receive(port, datagram, sender); ++count) handle(port, datagram, sender);
  return count;
}

void protocol2Radio::handle(size_t port, std::span<const uint8_t> datagram, const endpointAddress& sender) {
  if (handleQuestion(port, datagram, sender)) return;
  const auto kind = static_cast<p2Packet>(port);
  const auto say = [&](problem what) {
    faultsSeen.add(what, fmt::format("{} bytes to port {} from {}", datagram.size(), p2CommandPorts[port], sender.text()));
  };
  if (datagram.size() != p2CommandBytes[port]) return say(problem::wrongLength);
  if (kind == p2Packet::general && datagram[commandAt] != 0) return say(problem::unknownCommand);
  handlePacket(kind, datagram, sender);
}

bool protocol2Radio::handleQuestion(size_t port, std::span<const uint8_t> datagram, const endpointAddress& sender) {
  if (port != 0) return false;
  if (isDiscoveryRequest(datagram)) return ++counted.otherDiscoveries, true;
  if (!isOtherDiscoveryRequest(datagram)) return false;
  ++counted.discoveries;
  ports.answer(port, otherDiscoveryAnswer(*built.board, built.mac, ownedBy(built), inUse || counted.streaming), sender);
  return true;
}

void protocol2Radio::handlePacket(p2Packet kind, std::span<const uint8_t> packet, const endpointAddress& sender) {
  const bool foreign = counted.streaming && sender != counted.peer;
  if (foreign && kind != p2Packet::general)
    return faultsSeen.add(problem::foreignSender, fmt::format("{} packet from {}", p2PacketName(kind), sender.text()));
  if (kind == p2Packet::general) {
    if (foreign) ++counted.takeovers;
    counted.peer = sender;
  }
  ++counted.received[static_cast<size_t>(kind)];
  host.take(kind, packet, faultsSeen, fieldListener);
  lastHeard_s = stream.radioTime_s();
  if (kind == p2Packet::highPriority) followRun(sender);
  if (counted.streaming) stream.configure(host.settings());
}

void protocol2Radio::followRun(const endpointAddress& sender) {
  const bool wanted = host.settings().run;
  if (wanted == counted.streaming) return;
  counted.streaming = wanted;
  if (!wanted) {
    ++counted.stops;
    ports.drop();
    return;
  }
  ++counted.starts;
  for (const p2Packet needed : {p2Packet::general, p2Packet::downConverter})
    if (host.packets(needed) == 0) faultsSeen.add(problem::notConfigured, fmt::format("no {} packet yet", p2PacketName(needed)));
  if (host.packets(p2Packet::general) == 0) counted.peer = sender;
  begin();
}

void protocol2Radio::begin() {
  stream.start();
  origin = std::chrono::steady_clock::now();
  originTrue_s = byHand_s = stream.trueTime_s();
  lastHeard_s = stream.radioTime_s();
}

// ---- to the host

void protocol2Radio::advance(double seconds) {
  const std::lock_guard lock(guard);
  if (!counted.streaming) return;
  byHand_s += seconds;
  stream.make(byHand_s, ports, counted.peer);
  watchHost();
}

void protocol2Radio::watchHost() {
  if (silent) lastHeard_s = stream.radioTime_s(); // the host hears no pace and says nothing
  double limit_s = built.watchdog_s;
  if (host.settings().watchdog) limit_s = limit_s > 0 ? std::min(limit_s, hostWatchdog_s) : hostWatchdog_s;
  if (limit_s <= 0 || !counted.streaming || stream.radioTime_s() - lastHeard_s <= limit_s) return;
  counted.streaming = false;
  ports.drop();
  ++counted.watchdogStops;
}

// ---- by itself

void protocol2Radio::loop() {
  for (;;) {
    const int64_t wait_ns = turn();
    if (wait_ns < 0) return;
    ports.wait(wait_ns);
  }
}

int64_t protocol2Radio::turn() {
  const std::unique_lock lock(guard);
  if (stopping) return -1;
  take();
  int64_t wait_ns = idleWait_ns;
  if (counted.streaming) {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - origin;
    const double now_s = originTrue_s + passed.count();
    if (now_s - stream.trueTime_s() > longestCatchUp_s) {
      ++counted.stalls;
      stream.skipTo(now_s);
    }
    stream.make(now_s, ports, counted.peer);
    watchHost();
    const std::chrono::duration<double> after = std::chrono::steady_clock::now() - origin;
    wait_ns = std::max<int64_t>(0, static_cast<int64_t>((now_s + turn_s - originTrue_s - after.count()) * 1e9));
  }
  changed.notify_all();
  return wait_ns;
}

// ---- told and asked

void protocol2Radio::setScene(std::shared_ptr<const bandScene> scene) {
  const std::lock_guard lock(guard);
  stream.setScene(std::move(scene));
}

void protocol2Radio::setStatus(const p2Status& status) {
  const std::lock_guard lock(guard);
  stream.status = status;
}

void protocol2Radio::setFaults(const faultPlan& plan) {
  const std::lock_guard lock(guard);
  ports.setFaults(plan);
}

void protocol2Radio::setSilent(bool on) {
  const std::lock_guard lock(guard);
  silent = on;
  ports.setSilent(on);
}

void protocol2Radio::setInUse(bool on) {
  const std::lock_guard lock(guard);
  inUse = on;
}

void protocol2Radio::setClockError_ppm(double error) {
  const std::lock_guard lock(guard);
  stream.setClockError(error);
}

void protocol2Radio::setAdcInput(int adc, adcInput input) {
  const std::lock_guard lock(guard);
  stream.adc.at(static_cast<size_t>(adc)) = input;
}

void protocol2Radio::onField(protocol2Host::listener listener) {
  const std::lock_guard lock(guard);
  fieldListener = std::move(listener);
}

p2Report protocol2Radio::reportGuarded() const {
  p2Report r = counted;
  r.settings = host.settings();
  r.sent = stream.counts();
  r.problems = faultsSeen.total();
  r.refused = ports.refused();
  r.radioTime_s = stream.radioTime_s();
  r.faults = ports.faults();
  return r;
}

problemLog protocol2Radio::problems() const {
  const std::lock_guard lock(guard);
  return faultsSeen;
}

std::vector<uint8_t> protocol2Radio::lastPacket(p2Packet kind) const {
  const std::lock_guard lock(guard);
  const auto b = host.bytes(kind);
  return {b.begin(), b.end()};
}

} // namespace larch::sim
