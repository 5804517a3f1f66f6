#include "dsp/sampleUnpack.h"
#include "platform/threadClass.h"
#include "radio/HpsdrNpRadio.h"
#include "radio/borrowedSlot.h"
#include "radio/frequencyWord.h"
#include "runtime/log.h"

namespace larch {
namespace {

constexpr double wordScale = 4.656612875245797e-10;     // 1 / 2147483647
constexpr double widebandScale = 1.1920930376163766e-7; // 1 / 8388607
constexpr double peakScale = 3.0517578125e-5;           // 1 / 32768
constexpr int32_t meterPackets = 200;

int portOf(const uint8_t* address) { return address[2] << 8 | address[3]; }

} // namespace

void HpsdrNpRadio::rxCommsLoopRIO() {
  if (const int error = raiseThread(workerPriority)) logError("sothreadPool::worker() setmm priority failed {}", error);
  for (;;) rxTurn(); // required: what is thrown here ends the process
}

void HpsdrNpRadio::rxTurn() {
  const int slot = transport->waitReceive(1);
  for (; const int32_t* done = releaseRing.front(); releaseRing.pop()) transport->releaseReceive(*done);
  if (slot < 0) return;
  receivedCounter.fetch_add(1, std::memory_order_relaxed);
  dispatch(slot);
}

void HpsdrNpRadio::dispatch(int32_t slot) {
  using namespace protocol2;
  const int port = portOf(transport->receiveAddress(slot));
  if (port == microphonePort) microphonePacket();
  const bool wanted = port == statusPort || port == widebandPort || (port >= firstSamplePort && port <= lastSamplePort);
  if (!wanted || transport->receiveLength(slot) < bytesRead(port)) {
    transport->releaseReceive(slot);
    return;
  }
  const int32_t receiver = port - firstSamplePort;
  // This thread keeps the object. Two words: std::function would allocate for more.
  if (port == statusPort)
    queueSeqProcess(seqTask([this, slot] { HighPriorityStatuspacketRIO(slot); }, "HighPriorityStatuspacketRIO"));
  else if (port == widebandPort)
    queueSeqProcess(seqTask([this, slot] { handleWbRxPacketRIO(slot); }, "handleWbRxPacketRIO"));
  else
    queueSeqProcess(seqTask([this, slot, receiver] { handleRxPacketRIO(slot, receiver); }, "handleRxPacketRIO"));
}

// In every 32 of these the receivers go out once and the frequencies once, half a cycle apart.
void HpsdrNpRadio::microphonePacket() {
  constexpr int32_t receiversAt = 15, frequenciesAt = 31;
  if (microphoneCount == receiversAt) sendDownConverters();
  if (microphoneCount == frequenciesAt) sendHighPriority();
  microphoneCount = microphoneCount == frequenciesAt ? 0 : microphoneCount + 1;
}

void HpsdrNpRadio::HighPriorityStatuspacketRIO(int32_t slot) {
  const borrowedSlot borrowed(releaseRing, slot);
  adcOvl.write(protocol2::overloadOf(transport->receiveData(slot)));
}

void HpsdrNpRadio::handleRxPacketRIO(int32_t slot, int32_t receiver) {
  const borrowedSlot borrowed(releaseRing, slot);
  if (static_cast<std::size_t>(receiver) < hwReceivers.size()) handleSamples(transport->receiveData(slot), receiver);
}

void HpsdrNpRadio::handleSamples(const uint8_t* packet, int32_t receiver) {
  hwReceiver& hw = hwReceivers[static_cast<std::size_t>(receiver)];
  const uint32_t sequence = protocol2::sequenceOf(packet);
  handledPackets++;
  if (sequence != hw.expectedSequence) {
    sequenceBreaks++;
    ep6SeqErrors.write(static_cast<int32_t>(static_cast<uint32_t>(ep6SeqErrors.value) + 1));
  }
  hw.expectedSequence = sequence + 1;
  const double s = wordScale * gainFactor;
  const bool swapped = inOddZone(hw.frequency, clockFrequency.value);
  const uint8_t* at = packet + protocol2::sampleOffset;
  const auto unpack = [&at, s, swapped](const cbuff& to) {
    unpackIq(at, protocol2::sampleBytes, s, swapped, to.data, to.count);
    at += to.count * protocol2::sampleBytes;
  };
  processRxChunk(unpack, protocol2::samples, receiver);
}

void HpsdrNpRadio::handleWbRxPacketRIO(int32_t slot) {
  const borrowedSlot borrowed(releaseRing, slot);
  const uint8_t* packet = transport->receiveData(slot);
  const auto sample = [packet](int index) { return protocol2::widebandSample(packet, index); };
  if (processWideband(protocol2::sequenceOf(packet), sample, widebandScale * gainFactor, meterPackets)) {
    const double peak = adcPeakRaw * peakScale;
    adcPeak.write(peak);
    adcPeakDBFS.write(peakLevel_dB(peak));
    adcPeakRaw = 0;
  }
}

} // namespace larch
