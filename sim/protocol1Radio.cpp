#include "sim/protocol1Radio.h"
#include <algorithm>
#include <cmath>
#include <ctime>
#include <fmt/format.h>
#include "sim/nyquistFold.h"

namespace larch::sim {

namespace {
constexpr int64_t turn_ns = 1000000;      // the sending thread's beat
constexpr double longestCatchUp_s = 0.25; // later than that it gives up the time that was lost
constexpr int idleWait_ms = 100;
constexpr size_t keptTransmissions = 256;
constexpr uint32_t longestHole = 1000; // datagrams lost in a row; a larger step of the sequence number is a host that began anew
} // namespace

protocol1Radio::protocol1Radio(radioOptions options, std::shared_ptr<const bandScene> scene)
    : built(options), clock_Hz(options.clock_Hz > 0 ? options.clock_Hz : options.board->clock_Hz),
      socket(options.bindAddress, options.port), stream(options, std::move(scene)),
      devices(options.board->hasDevices, options.board->firmware), inUse(options.inUse) {}

protocol1Radio::~protocol1Radio() { stop(); }

std::unique_ptr<protocol1Radio> protocol1Radio::onFreeLoopback(radioOptions options, std::shared_ptr<const bandScene> scene) {
  return boundToFreeLoopback([&](const std::string& address) {
    options.bindAddress = address;
    return std::make_unique<protocol1Radio>(options, scene);
  });
}

std::string protocol1Radio::address() const {
  const std::string text = socket.local().text();
  return text.substr(0, text.find(':'));
}

uint16_t protocol1Radio::port() const { return socket.local().port; }

// ---- from the host

size_t protocol1Radio::take() {
  std::span<const uint8_t> datagram;
  endpointAddress sender;
  size_t count = 0;
  for (; socket.receive(datagram, sender); ++count) handle(datagram, sender);
  return count;
}

void protocol1Radio::handle(std::span<const uint8_t> datagram, const endpointAddress& sender) {
  p1ReadHostDatagram(datagram, incoming);
  if (incoming.problem >= 0)
    faultsSeen.add(static_cast<problem>(incoming.problem), fmt::format("{} bytes from {}", datagram.size(), sender.text()));
  switch (incoming.kind) {
  case hostDatagramKind::discovery: {
    ++counted.discoveries;
    const int receivers = built.receivers > 0 ? built.receivers : built.board->receivers;
    socket.sendOne(discoveryAnswer(*built.board, built.mac, receivers, inUse || counted.streaming, devices.state()), sender);
    break;
  }
  case hostDatagramKind::otherDiscovery: ++counted.otherDiscoveries; break;
  case hostDatagramKind::startStop: handleStart(incoming.startBits, sender); break;
  case hostDatagramKind::data: handleData(incoming, sender); break;
  case hostDatagramKind::bad: break;
  }
}

void protocol1Radio::handleStart(uint8_t bits, const endpointAddress& sender) {
  const bool iq = (bits & 1) != 0, wideband = (bits & 2) != 0;
  if (!iq && !wideband) {
    if (counted.streaming && sender != counted.peer)
      return faultsSeen.add(problem::foreignSender, fmt::format("stop from {}", sender.text()));
    if (counted.streaming) ++counted.stops;
    counted.streaming = false;
    keep(monitor.finish());
    return;
  }
  ++counted.starts;
  if (counted.streaming) { // runs on; the new sender has it now
    if (sender != counted.peer) ++counted.takeovers;
    counted.peer = sender;
    return;
  }
  counted.peer = sender;
  counted.streaming = true;
  counted.iqOn = iq;
  counted.widebandOn = wideband;
  iqBefore = stream.counts().iq;
  stream.start(iq, wideband);
  if (echo) echo->restart();
  origin = lastArrival = std::chrono::steady_clock::now();
  originTrue_s = byHand_s = stream.clock.trueTime_s();
  if (byItself()) setUtcGuarded(std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count());
  lastData_s = stream.clock.radioTime_s();
}

void protocol1Radio::handleData(const hostDatagram& datagram, const endpointAddress& sender) {
  if (counted.streaming && sender != counted.peer)
    return faultsSeen.add(problem::foreignSender, fmt::format("data from {}", sender.text()));
  // a host counts from 0 again before each start
  const bool fresh = !counted.streaming && datagram.sequence == 0;
  if (sequenceKnown && !fresh && datagram.sequence != expectedSequence)
    faultsSeen.add(problem::sequenceBreak, fmt::format("{} where {} was due", datagram.sequence, expectedSequence));
  const uint32_t lost = datagram.sequence - expectedSequence;
  if (sequenceKnown && !fresh && lost < longestHole) skipFrames(size_t{lost} * 2);
  sequenceKnown = true;
  expectedSequence = datagram.sequence + 1;
  ++counted.dataReceived;
  const auto now = std::chrono::steady_clock::now();
  if (counted.streaming)
    counted.longestGap_ms = std::max(counted.longestGap_ms, std::chrono::duration<double, std::milli>(now - lastArrival).count());
  lastArrival = now;
  lastData_s = stream.clock.radioTime_s();
  if (keepArrivals)
    arrived.push_back({datagram.sequence,
                       stream.counts().iq - iqBefore,
                       counted.streaming,
                       {datagram.frame[0].mox(), datagram.frame[1].mox()},
                       {static_cast<uint8_t>(datagram.frame[0].address()), static_cast<uint8_t>(datagram.frame[1].address())}});
  for (const commandFrame& frame : datagram.frame) {
    if (frame.syncOk) {
      handleFrame(frame);
      continue;
    } // boards lose such a frame
    faultsSeen.add(problem::wrongSync, fmt::format("datagram {}", datagram.sequence));
    skipFrames(1);
  }
  constexpr int gainRegister = 10;
  stream.configure(file.settings(), file.writes(gainRegister) > 0);
}

void protocol1Radio::handleFrame(const commandFrame& frame) {
  const int before = file.settings().receivers;
  if (file.write(frame.c, clock_Hz, faultsSeen) && listener) listener(registerWrite{file.frames() - 1, frame.c});
  const int owned = built.receivers > 0 ? built.receivers : built.board->receivers;
  if (file.settings().receivers != before && file.settings().receivers > owned)
    faultsSeen.add(problem::tooManyReceivers, fmt::format("{} of {}", file.settings().receivers, owned));
  devices.pass(1);
  if (frame.address() == p1QueuedAddress) {
    const std::string done = devices.write({frame.c[1], frame.c[2], frame.c[3], frame.c[4]}, faultsSeen);
    if (deviceListener && !done.empty()) deviceListener(done);
  }
  const hostSettings& now = file.settings();
  const transmitFrame& sent = air.make(frame, now.cwInternal);
  keep(monitor.add(frame, sent, stream.clock.radioTime_s(),
                   {unfolded(now.txFrequency_Hz, built.transmitZone, clock_Hz), now.filterBits, now.drive}));
  if (echo && counted.streaming) echo->add(sent, moment());
}

// lost on the way
void protocol1Radio::skipFrames(size_t frames) {
  if (frames == 0) return;
  devices.pass(frames);
  monitor.skip(frames * p1TxSamplesPerFrame);
  if (echo && counted.streaming) echo->skip(frames * p1TxSamplesPerFrame, moment());
}

void protocol1Radio::keep(const std::optional<transmission>& finished) {
  if (!finished) return;
  if (over.size() == keptTransmissions) over.erase(over.begin());
  over.push_back(*finished);
  const transmitReading& read = finished->reading;
  if (read.power > 0) {
    const double tuned_Hz = finished->last.frequency_Hz, middle_Hz = tuned_Hz + (read.low_Hz + read.high_Hz) / 2;
    const auto scene = stream.played().current();
    for (const auto& signal : scene->signals) signal->transmissionEnded({stream.clock.trueTime_s(), tuned_Hz, middle_Hz});
  }
  if (transmissionListener) transmissionListener(*finished);
}

transmitMoment protocol1Radio::moment() const {
  const double speed = stream.clock.speedFactor();
  const double carrier_Hz = unfolded(file.settings().txFrequency_Hz * speed, built.transmitZone, clock_Hz * speed);
  return {stream.clock.trueTime_s(), transmitRate_Hz * speed, carrier_Hz, built.transmitZone % 2 != 0};
}

// ---- to the host

size_t protocol1Radio::emit(size_t n) {
  const std::lock_guard lock(guard);
  if (!counted.streaming) return 0;
  emitGuarded(n);
  byHand_s = std::max(byHand_s, stream.clock.trueTime_s());
  return n;
}

void protocol1Radio::emitGuarded(size_t n) {
  while (n > 0) {
    const size_t part = std::min(n, protocol1Stream::maxBatch);
    outgoing.clear();
    stream.make(part, outgoing);
    socket.send(outgoing, counted.peer);
    n -= part;
  }
}

size_t protocol1Radio::advance(double seconds) {
  const std::lock_guard lock(guard);
  if (!counted.streaming) return 0;
  byHand_s += seconds;
  const auto due = static_cast<size_t>(stream.clock.groupsDue(byHand_s, stream.samplesPerDatagram()));
  emitGuarded(due);
  watchHost();
  return due;
}

void protocol1Radio::setUtc(double utc_s) {
  const std::lock_guard lock(guard);
  setUtcGuarded(utc_s);
}

// of the hour: small enough for the time within it to be exact
void protocol1Radio::setUtcGuarded(double utc_s) {
  constexpr double hour_s = 3600;
  stream.utcAtZero_s = std::fmod(utc_s, hour_s) - stream.clock.trueTime_s();
}

void protocol1Radio::watchHost() {
  if (built.watchdog_s <= 0 || !counted.streaming) return;
  if (stream.clock.radioTime_s() - lastData_s <= built.watchdog_s) return;
  counted.streaming = false;
  keep(monitor.finish());
  ++counted.watchdogStops;
}

// ---- by itself

void protocol1Radio::loop() {
  timespec next{};
  clock_gettime(CLOCK_MONOTONIC, &next);
  for (;;) {
    const bool streaming = turn();
    {
      const std::lock_guard lock(guard);
      if (stopping) return;
    }
    if (!streaming) {
      socket.wait(idleWait_ms);
      clock_gettime(CLOCK_MONOTONIC, &next);
      continue;
    }
    constexpr int64_t second_ns = 1000000000;
    const int64_t nanoseconds = next.tv_nsec + turn_ns;
    next.tv_sec += nanoseconds / second_ns;
    next.tv_nsec = nanoseconds % second_ns;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec > next.tv_sec || (now.tv_sec == next.tv_sec && now.tv_nsec > next.tv_nsec)) next = now;
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
  }
}

bool protocol1Radio::turn() {
  const std::unique_lock lock(guard);
  take();
  if (counted.streaming) {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - origin;
    const double now_s = originTrue_s + passed.count();
    if (now_s - stream.clock.trueTime_s() > longestCatchUp_s) {
      ++counted.stalls;
      stream.clock.skipTo(now_s);
    }
    emitGuarded(stream.clock.groupsDue(now_s, stream.samplesPerDatagram()));
    watchHost();
  }
  changed.notify_all();
  return counted.streaming;
}

// ---- told and asked

void protocol1Radio::setScene(std::shared_ptr<const bandScene> scene) {
  const std::lock_guard lock(guard);
  stream.setScene(std::move(scene));
}

void protocol1Radio::setStatus(const boardStatus& status) {
  const std::lock_guard lock(guard);
  stream.status = status;
  stream.status.firmware = built.board->firmware;
}

void protocol1Radio::setFaults(faultPlan plan) {
  const std::lock_guard lock(guard);
  stream.faults.setPlan(std::move(plan));
}

void protocol1Radio::setSilent(bool on) {
  const std::lock_guard lock(guard);
  stream.faults.setSilent(on);
}

void protocol1Radio::setInUse(bool on) {
  const std::lock_guard lock(guard);
  inUse = on;
}

void protocol1Radio::setClockError_ppm(double error) {
  const std::lock_guard lock(guard);
  stream.clock.setError(error);
}

void protocol1Radio::setAdcInput(int adc, adcInput input) {
  const std::lock_guard lock(guard);
  stream.adc.at(static_cast<size_t>(adc)) = input;
}

void protocol1Radio::recordTransmit(bool on) {
  const std::lock_guard lock(guard);
  monitor.record(on);
}

void protocol1Radio::recordArrivals(bool on) {
  const std::lock_guard lock(guard);
  keepArrivals = on;
}

void protocol1Radio::setTransmitEcho(std::shared_ptr<transmitEcho> next) {
  const std::lock_guard lock(guard);
  echo = std::move(next);
}

void protocol1Radio::onRegister(std::function<void(const registerWrite&)> hears) {
  const std::lock_guard lock(guard);
  listener = std::move(hears);
}

void protocol1Radio::onDevice(std::function<void(const std::string&)> hears) {
  const std::lock_guard lock(guard);
  deviceListener = std::move(hears);
}

void protocol1Radio::onTransmission(std::function<void(const transmission&)> hears) {
  const std::lock_guard lock(guard);
  transmissionListener = std::move(hears);
}

radioReport protocol1Radio::reportGuarded() const {
  radioReport r = counted;
  r.settings = file.settings();
  r.gain_dB = stream.gain_dB();
  r.receiversInFrames = stream.receiversInFrames();
  r.iqSent = stream.counts().iq;
  r.widebandSent = stream.counts().wideband;
  r.clippedSamples = stream.counts().clipped;
  r.nextIqSequence = stream.nextIqSequence();
  r.problems = faultsSeen.total();
  r.radioTime_s = stream.clock.radioTime_s();
  r.faults = stream.faults.counts();
  r.transmit = monitor.levels();
  r.devices = devices.state();
  return r;
}

registerFile protocol1Radio::registers() const {
  const std::lock_guard lock(guard);
  return file;
}

problemLog protocol1Radio::problems() const {
  const std::lock_guard lock(guard);
  return faultsSeen;
}

std::vector<recordedSample> protocol1Radio::transmitted() const {
  const std::lock_guard lock(guard);
  return monitor.recorded();
}

std::vector<recordedSample> protocol1Radio::takeTransmitted() {
  const std::lock_guard lock(guard);
  return monitor.takeRecorded();
}

std::vector<transmission> protocol1Radio::transmissions() const {
  const std::lock_guard lock(guard);
  return over;
}

std::optional<transmission> protocol1Radio::transmitting() const {
  std::unique_lock lock(guard);
  if (!monitor.transmitting()) return {};
  transmission t = monitor.soFar();
  const std::vector<std::complex<float>> last = monitor.lastSecond();
  lock.unlock(); // the spectrum takes milliseconds
  if (last.size() < t.reading.samples) t.reading = measureCut(last);
  return t;
}

std::vector<hostArrival> protocol1Radio::arrivals() const {
  const std::lock_guard lock(guard);
  return arrived;
}

void protocol1Radio::clearRecords() {
  const std::lock_guard lock(guard);
  faultsSeen.clear();
  file.clearHistory();
  monitor.clear();
  arrived.clear();
  over.clear();
  counted.longestGap_ms = 0;
}

} // namespace larch::sim
