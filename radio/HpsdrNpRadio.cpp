#include "radio/HpsdrNpRadio.h"
#include "platform/clock.h"
#include "platform/threadClass.h"
#include "runtime/log.h"
#include <boost/asio/ip/address_v4.hpp>
#include <cmath>
#include <thread>

namespace larch {
namespace {

struct rateRow {
  int32_t rate; // Hz
  const char* label;
};
constexpr rateRow rates[] = {{48000, "48k"},   {96000, "96k"},   {192000, "192k"},
                             {384000, "384k"}, {768000, "768k"}, {1536000, "1536k"}};
constexpr int32_t firstFrequency = 1000000, firstTransceiver = 14095600; // Hz
constexpr int64_t startPause_ns = 2'000'000;

} // namespace

HpsdrNpRadio::HpsdrNpRadio(const std::shared_ptr<syncTask>& group) : Radio(group) {
  for (const rateRow& r : rates) SampleRates.append(keptByCore(std::make_shared<ValueLabelItem>(taskgroup, r.rate, r.label)));
  wideband = buff<double>(widebandSamples, 0.0);
  widebandFill = buff<double>(widebandSamples, 0.0);
  addHwReceiver(firstFrequency);
  SampleRate.observer = [this] {
    for (hwReceiver& hw : hwReceivers) hw.sampleRate = SampleRate.value;
  };
  rxGain.observer = [this] { gainFactor = 1 / std::pow(10.0, rxGain.value / 20.0); };
}

// The stream isn't stopped: down-converters are enabled one by one.
void HpsdrNpRadio::addHwReceiver(int32_t frequency) {
  const auto index = static_cast<int32_t>(hwReceivers.size());
  hwReceivers.push_back({cbuff(chunkSamples), frequency, SampleRate.value, 0, 0, index, 0});
  publishFrequencies();
}

void HpsdrNpRadio::frequenciesChanged() { publishFrequencies(); }

void HpsdrNpRadio::publishFrequencies() {
  const std::size_t count = std::min(hwReceivers.size(), tuned.size());
  for (std::size_t i = 0; i < count; i++) tuned[i].store(hwReceivers[i].frequency, std::memory_order_relaxed);
  tunedCount.store(count, std::memory_order_release); // pairs with sendHighPriority's acquire
}

void HpsdrNpRadio::initialise() {
  boost::asio::ip::make_address_v4(ipAddress.value); // required: throws when it is none; 255.255.255.255 is one
  radioAddress = parseIpv4(ipAddress.value.c_str());
  if (hwReceivers.empty()) addHwReceiver(firstFrequency);
  if (transceivers.empty()) addVtrx(firstTransceiver, 0);
  widebandNyquist = clockFrequency.value / 2;
  transport.emplace(transportShape::protocol2); // what a start has left whose thread couldn't be had
  transport->create(radioAddress);
}

void HpsdrNpRadio::startRadio() {
  using namespace protocol2;
  if (!threadStarted) {
    initialise();
    startReceiveThread();
  }
  sendPacket(generalPort, shortBytes, writeGeneral);
  sleepFor_ns(startPause_ns);
  sleepFor_ns(startPause_ns);
  sendDownConverters();
  sleepFor_ns(startPause_ns);
  sendPacket(upConverterPort, shortBytes, writeUpConverter);
  sleepFor_ns(startPause_ns);
  running.store(true, std::memory_order_relaxed);
  sendHighPriority();
}

void HpsdrNpRadio::stopRadio() {
  running.store(false, std::memory_order_relaxed);
  sendHighPriority();
}

void HpsdrNpRadio::startReceiveThread() {
  auto self = std::static_pointer_cast<HpsdrNpRadio>(shared_from_this());
  std::thread([self = std::move(self)] { self->rxCommsLoopRIO(); }).detach();
  threadStarted = true;
}

// Without a slot the packet is skipped; the next periodic one says the same.
template <class Write> void HpsdrNpRadio::sendPacket(uint16_t port, uint32_t length, Write&& write) {
  const int slot = transport->allocateSend(length);
  if (slot < 0) return;
  write(transport->sendDataArea(slot));
  transport->send(slot, port, length);
  sentCounter.fetch_add(1, std::memory_order_relaxed);
}

void HpsdrNpRadio::sendDownConverters() {
  const std::size_t receivers = tunedCount.load(std::memory_order_relaxed);
  sendPacket(protocol2::downConverterPort, protocol2::longBytes,
             [&](uint8_t* packet) { protocol2::writeDownConverters(packet, receivers, maxHwReceivers.get(), SampleRate.get()); });
}

void HpsdrNpRadio::sendHighPriority() {
  std::array<int32_t, protocol2::mostReceivers> frequencies;
  const std::size_t count = tunedCount.load(std::memory_order_acquire); // pairs with publishFrequencies
  for (std::size_t i = 0; i < count; i++) frequencies[i] = tuned[i].load(std::memory_order_relaxed);
  protocol2::highPriority content;
  content.running = running.load(std::memory_order_relaxed);
  content.frequencies = {frequencies.data(), count};
  content.maxReceivers = maxHwReceivers.get();
  content.clockFrequency = clockFrequency.get();
  content.attenuation_dB = static_cast<int32_t>(static_cast<uint32_t>(maxRxRFGain.get()) - static_cast<uint32_t>(rxGain.get()));
  sendPacket(protocol2::highPriorityPort, protocol2::longBytes,
             [&](uint8_t* packet) { protocol2::writeHighPriority(packet, content); });
}

} // namespace larch
