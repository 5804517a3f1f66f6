#include "radio/Radio.h"
#include "radio/receiverAllocation.h"
#include "runtime/sothreadpool.h"
#include "transceiver/vtrx.h"
#include <cmath>

namespace larch {
namespace {

std::shared_ptr<syncTask> groupBeside(const std::shared_ptr<syncTask>& group) {
  return group ? std::make_shared<syncTask>(group->pool()) : nullptr;
}

void post(const std::shared_ptr<vtrx>& transceiver, const char* name, void (vtrx::*operation)()) {
  transceiver->queueSeqProcess(seqTask([transceiver, operation] { ((*transceiver).*operation)(); }, name));
}

cbuff newChunk(int32_t sampleRate) {
  cbuff chunk(chunkLength(sampleRate));
  return chunk.data ? chunk : cbuff(); // no memory: the receiver's samples are dropped until there is some
}

} // namespace

double peakLevel_dB(double peak) {
  constexpr double idle_dB = -100.0;
  return peak == 0 ? idle_dB : 20 * std::log10(peak);
}

Radio::Radio(const std::shared_ptr<syncTask>& group) : radioPort(groupBeside(group)) {}

Radio::~Radio() = default;

void Radio::addHwReceiver(int32_t frequency) { static_cast<void>(frequency); }

void Radio::transmit(cbuff block) { static_cast<void>(block); }

void Radio::start() {
  startRadio();
  if (!firstStart)
    for (const auto& transceiver : transceivers) post(transceiver, "vtrx.start", &vtrx::start);
  firstStart = false;
}

void Radio::stop() {
  stopRadio();
  for (const auto& transceiver : transceivers) post(transceiver, "vtrx.stop", &vtrx::stop);
}

void Radio::addVtrx(int32_t frequency, int32_t receiver) {
  const auto transceiver = std::make_shared<vtrx>(groupBeside(taskgroup));
  const bool exists = receiver >= 0 && static_cast<std::size_t>(receiver) < hwReceivers.size();
  if (frequency == presentFrequency)
    frequency = exists ? hwReceivers[static_cast<std::size_t>(receiver)].frequency : transceiver->vfo.value;
  transceiver->hwReceiver[0] = exists ? receiver : noReceiver;
  transceiver->radio = std::static_pointer_cast<radioPort>(shared_from_this());
  transceiver->init();
  transceiver->vfo.write(frequency);
  transceivers.push_back(transceiver);
  setRxFrequency(frequency, transceiver, transceiver->ADCs.value);
  const hostVtrxAdded added = loadWord(vtrxAdded);
  if (!added) return;
  // the handle is made by the poll itself: a host that never polls loses nothing
  queueUpdate([added, transceiver, frequency, rate = SampleRate.value] { added(new handle{transceiver}, frequency, rate); });
}

void Radio::removeVtrx(const std::shared_ptr<vtrx>& transceiver) {
  if (transceiver && transmitter.lock() == transceiver) {
    ptt.write(false);
    transmitter.reset();
  }
  if (std::erase(transceivers, transceiver) > 0) post(transceiver, "vtrx.detach", &vtrx::detach);
}

void Radio::setRxFrequency(int32_t frequency, const std::shared_ptr<vtrx>& transceiver, int32_t adcMask) {
  const auto at = std::find(transceivers.begin(), transceivers.end(), transceiver);
  if (at == transceivers.end()) return; // removed meanwhile
  const int32_t offset = TransceiverOffset.value;
  std::vector<tunedListener> listeners;
  listeners.reserve(transceivers.size());
  for (const auto& each : transceivers) {
    const int32_t wanted = each == transceiver ? frequency : each->vfo.get();
    listeners.push_back({tunedFrequency(wanted, offset), each->hwReceiver});
  }
  receiverAllocation allocation(hwReceivers, std::move(listeners), maxHwReceivers.value,
                                [this](int32_t tuned) { addHwReceiver(tuned); });
  const auto self = static_cast<std::size_t>(at - transceivers.begin());
  if (disableVirtualReceivers.value)
    allocation.separate(self);
  else
    allocation.share(self, adcMask);
  frequenciesChanged();
}

void Radio::setPtt(const std::shared_ptr<vtrx>& transceiver) {
  if (!canTransmit.value) return;
  if (!transceiver->ptt.get()) {
    ptt.write(false); // the transmitter stays: its frequency and drive hold until another raises PTT
    return;
  }
  if (std::find(transceivers.begin(), transceivers.end(), transceiver) == transceivers.end()) return; // nobody could unkey it
  transmitter = transceiver;
  if (!ptt.value) ptt.write(true);
}

void Radio::deliverChunk(int32_t receiver) {
  hwReceiver& hw = hwReceivers[static_cast<std::size_t>(receiver)];
  const int32_t centre = reportedFrequency(hw.frequency, TransceiverOffset.value);
  for (const auto& transceiver : transceivers) {
    for (const int32_t slot : transceiver->hwReceiver) {
      if (slot != receiver) continue;
      transceiver->queueSeqProcess(
          seqTask([transceiver, chunk = hw.chunk, centre, rate = hw.sampleRate, block = wideband, nyquist = widebandNyquist,
                   adc = hw.adc] { transceiver->processRxChunk(chunk, centre, rate, block, nyquist, adc); },
                  "vtrx.processRxChunk"));
    }
  }
  hw.chunk = newChunk(hw.sampleRate);
  hw.fillPosition = 0;
}

} // namespace larch
