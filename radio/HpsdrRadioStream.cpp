#include "radio/HpsdrRadio.h"
#include "dsp/sampleUnpack.h"
#include "radio/borrowedSlot.h"
#include "radio/frequencyWord.h"
#include "transceiver/vtrx.h"
#include <array>

namespace larch {
namespace {

constexpr double wordScale = 4.656612875245797e-10; // 1 / 2147483647
constexpr int32_t adcScale = 32768;
constexpr double widebandScale = 0.0004886962890625, wideAdcScale = 0.0625;
constexpr int32_t wideAdc = 32768; // the maxAdcValue of 16-bit converters
constexpr int32_t meterPackets = 40;
constexpr std::size_t mostTogether = 8; // receivers that are unpacked in one pass

} // namespace

void HpsdrRadio::handleRxPacketRIO(int32_t slot) {
  const borrowedSlot borrowed(releaseRing, slot);
  handleDatagram(transport.receiveData(slot), arrival[static_cast<std::size_t>(slot)]);
}

void HpsdrRadio::handleDatagram(const uint8_t* datagram, int64_t time) {
  const auto head = protocol1::readHead(datagram);
  if (!head.data) return;
  if (head.endpoint == protocol1::iqEndpoint) handleIq(datagram, head.sequence, time);
  if (head.endpoint == protocol1::widebandEndpoint) handleWideband(datagram, head.sequence);
}

void HpsdrRadio::handleIq(const uint8_t* datagram, uint32_t sequence, int64_t time) {
  if (sequence == rxSequence)
    measureClock(time);
  else
    ep6SeqErrors.write(static_cast<int32_t>(static_cast<uint32_t>(ep6SeqErrors.value) + 1));
  rxSequence = sequence + 1;
  wallClock = time;
  pace(sequence);
  handleFrame(protocol1::frameOf(datagram, 0));
  handleFrame(protocol1::frameOf(datagram, 1));
}

void HpsdrRadio::measureClock(int64_t time) {
  if (SampleRate.value < 1) return;
  const int samples = 2 * protocol1::samplesPerFrame(static_cast<int>(hwReceivers.size()));
  clock.add(static_cast<double>(time - wallClock) * tick_ns / 1e9, static_cast<double>(samples) / SampleRate.value);
  if (!autoFreqCalib.value) return;
  if (const auto factor = clock.correction(time)) frequencyCalibration.write(*factor);
}

// A datagram is due whenever the received samples, counted by the sequence number itself, pass a multiple of the period: losses
// neither shift nor starve the stream.
void HpsdrRadio::pace(uint32_t sequence) {
  const auto samples = static_cast<uint64_t>(2 * protocol1::samplesPerFrame(static_cast<int>(hwReceivers.size())));
  const int64_t period = int64_t{SampleRate.value} * 2 * protocol1::transmitSamples / protocol1::transmitRate;
  if (period < 1) return;
  const auto divisor = static_cast<uint64_t>(period);
  if (sequence * samples / divisor == (uint64_t{sequence} + 1) * samples / divisor) return;
  const auto keyed = ptt.value ? transmitter.lock() : nullptr;
  if (!keyed) {
    sendcommandcontrol(silence);
    return;
  }
  asyncObject& target = *keyed;
  target.queueSeqProcess(seqTask([keyed] { keyed->modulateTask(); }, "modulate"));
}

void HpsdrRadio::handleFrame(const uint8_t* frame) {
  handleStatus(frame);
  unpackFrame(frame);
  if (SampleRate.value < 1) return;
  gainControl.frame(adcOvl.value);
  controlGain();
}

void HpsdrRadio::handleStatus(const uint8_t* frame) {
  const auto status = protocol1::readStatus(frame);
  if (!status.present) return;
  RadioPtt.write(status.ptt);
  if (const auto keyed = transmitter.lock()) keyed->audioOut.keyB.exchange(status.key, std::memory_order_relaxed);
  if (status.hasOverload) adcOvl.write(status.overload);
  for (int i = 0; i < 2; i++)
    if (status.ainIndex[i] >= 0) ain.add(status.ainIndex[i], status.ainWord[i]);
}

void HpsdrRadio::unpackFrame(const uint8_t* frame) {
  if (maxAdcValue.value < 1) return;
  const int receivers = protocol1::receiversIn(frame, static_cast<int>(hwReceivers.size()));
  const auto step = static_cast<std::size_t>(protocol1::slotBytes(receivers));
  const auto samples = static_cast<uint64_t>(protocol1::samplesPerFrame(receivers));
  const double s = scale * wordScale * rxLevelCalibration.value * (adcScale / maxAdcValue.value);
  const uint8_t* area = frame + protocol1::sampleAreaOffset;
  if (unpackTogether(area, step, s, receivers, samples)) return;
  for (int r = 0; r < receivers; r++) {
    const uint8_t* at = area + 6 * r;
    const bool swapped = inOddZone(hwReceivers[static_cast<std::size_t>(r)].frequency, clockFrequency.value);
    const auto unpack = [&at, step, s, swapped](const cbuff& to) {
      unpackIq(at, step, s, swapped, to.data, to.count);
      at += to.count * step;
    };
    processRxChunk(unpack, samples, r);
  }
}

// One pass over the frame for all receivers, as long as no chunk becomes full by it.
bool HpsdrRadio::unpackTogether(const uint8_t* area, std::size_t step, double s, int receivers, uint64_t samples) {
  std::array<iqTarget, mostTogether> targets;
  const auto count = static_cast<std::size_t>(receivers);
  if (count > mostTogether) return false;
  for (std::size_t r = 0; r < count; r++) {
    const hwReceiver& hw = hwReceivers[r];
    if (hw.fillPosition + samples >= hw.chunk.count) return false;
    targets[r] = {hw.chunk.data + hw.fillPosition, inOddZone(hw.frequency, clockFrequency.value)};
  }
  larch::unpackFrame(area, step, s, targets.data(), count, samples);
  for (std::size_t r = 0; r < count; r++) hwReceivers[r].fillPosition += samples;
  return true;
}

void HpsdrRadio::handleWideband(const uint8_t* datagram, uint32_t sequence) {
  const double s = scale * widebandScale * (maxAdcValue.value == wideAdc ? wideAdcScale : 1.0);
  const auto sample = [datagram](int index) { return protocol1::widebandSample(datagram, index); };
  if (processWideband(sequence, sample, s, meterPackets)) updateMeters();
}

void HpsdrRadio::updateMeters() {
  if (maxAdcValue.value >= 1) {
    const double peak = static_cast<double>(adcPeakRaw) / maxAdcValue.value;
    adcPeak.write(peak);
    adcPeakDBFS.write(peakLevel_dB(peak));
  }
  adcPeakMeter = std::max(adcPeakMeter, adcPeakRaw);
  adcPeakRaw = 0;
  const powerReading power = ptt.value ? readPower(ain, FwdPwrCalibration.items) : powerReading{};
  Temp.write(readTemperature(ain));
  Current.write(ptt.value ? readCurrent(ain) : 0.0);
  FwdPwr.write(power.forward);
  RevPwr.write(power.reverse);
  Swr.write(power.swr);
}

void HpsdrRadio::controlGain() {
  if (!gainControl.due(static_cast<int64_t>(hwReceivers.size()), SampleRate.value)) return;
  if (rfAgcMode.value >= 1) {
    const double peak = maxAdcValue.value >= 1 ? static_cast<double>(adcPeakMeter) / maxAdcValue.value : 1.0;
    rxGain.write(gainControl.nextGain(rxGain.value, minRxRFGain.value, peak));
  }
  gainControl.restart();
  adcPeakMeter = 0;
}

} // namespace larch
