#include "radio/HpsdrRadio.h"
#include "radio/filterOutputs.h"
#include "radio/frequencyWord.h"
#include "runtime/log.h"
#include "transceiver/vtrx.h"
#include <cmath>
#include <limits>

namespace larch {
namespace {

constexpr int32_t holdDatagrams = 50, lagDatagrams = 4;
constexpr int firstSample = 16, secondFrame = protocol1::headBytes + protocol1::frameBytes; // offsets in a datagram
constexpr int32_t rampBoard = 6;

} // namespace

void HpsdrRadio::frequenciesChanged() { registerIndex = protocol1::firstFrequencyRegister; }

void HpsdrRadio::transmit(cbuff block) { sendcommandcontrol(block); }

double HpsdrRadio::scaleOfGain() const { return 1 / std::pow(10.0, (scalePtt ? txGain.value : rxGain.value) / 20.0); }

void HpsdrRadio::computeGain() {
  const int64_t g = ptt.value || pttTail > 1 ? txGain.value : rxGain.value;
  constexpr int64_t top = 63, steps = 32;
  if (HLite2Gain.value)
    gainCode = static_cast<uint8_t>(g - minRxRFGain.value);
  else {
    const int64_t v = minRxRFGain.value - g + top;
    if (HLiteGain.value) lnaOn = v >= steps;
    gainCode = static_cast<uint8_t>(v % steps);
  }
  scale = scaleOfGain();
}

void HpsdrRadio::sendcommandcontrol(const cbuff& block) {
  using namespace protocol1;
  if (gainLag < lagDatagrams)
    gainLag++;
  else {
    scalePtt = ptt.value;
    scale = scaleOfGain();
  }
  if (block.count < 2 * transmitSamples) return;
  const int slot = transport.allocateSend(datagramBytes);
  if (slot < 0) {
    logError("scc no tx buffers");
    return;
  }
  uint8_t* datagram = transport.sendDataArea(slot); // every byte is written below
  const bool edge = ptt.value != lastPtt;
  if (edge) {
    registerIndex = 0;
    lastPtt = ptt.value;
    pttTail = ptt.value ? 0 : holdDatagrams;
  }
  writeHead(datagram, txSequence);
  const auto keyed = transmitter.lock();
  // The relays and the gain change at once at the rise, and after the hold at the fall, when the power is off.
  const bool now = (edge && pttTail == 0) || pttTail == 1;
  const int32_t first = now ? generalRegister : registerIndex;
  fillFrame(datagram + headBytes, first, keyed.get());
  registerIndex = first + 1;
  const transmitForm form{cwInternal.value, driveOf(keyed.get()).multiplier, inOddZone(txFrequency, clockFrequency.value),
                          TypeID.value == rampBoard};
  writeTransmitSamples(datagram + firstSample, block.data, transmitSamples, form, rampPosition);
  const int32_t second = now ? gainRegister : registerIndex == registers ? 0 : registerIndex;
  fillFrame(datagram + secondFrame, second, keyed.get());
  registerIndex = second + 1;
  transmitForm secondForm = form;
  secondForm.mirrored = inOddZone(txFrequency, clockFrequency.value); // register 1 may have stored a new frequency
  writeTransmitSamples(datagram + secondFrame + sampleAreaOffset, block.data + transmitSamples, transmitSamples, secondForm,
                       rampPosition);
  if (registerIndex >= registers) registerIndex = 0;
  txSequence++;
  if (pttTail > 0 && !ptt.value) pttTail--;
  if (!sendRing.emplace(slot)) logError("HpsdrRadio::sendcommandcontrol can't queue");
}

void HpsdrRadio::fillFrame(uint8_t* frame, int32_t index, const vtrx* keyed) {
  const auto mox = static_cast<uint8_t>(ptt.value);
  if (commandDelay < std::numeric_limits<int32_t>::max()) commandDelay++;
  if (!commandQueue.empty() && commandDelay > commandWait) {
    const queuedCommand command = commandQueue.front();
    commandQueue.pop_front();
    commandDelay = 0;
    commandWait = command.delay;
    protocol1::writeRegister(frame, command.c0 | mox, command.bytes);
    return;
  }
  const auto c0 = static_cast<uint8_t>(index * 2 | mox);
  protocol1::writeRegister(frame, c0, registerContent(index, keyed));
}

const driveStep& HpsdrRadio::driveOf(const vtrx* keyed) const { return stepOf(drives, keyed ? keyed->drive.get() : drive.value); }

protocol1::gainForm HpsdrRadio::gainForm() const {
  if (HLiteRxTxGain.value) return protocol1::gainForm::separate;
  return HLite2Gain.value ? protocol1::gainForm::wide : protocol1::gainForm::plain;
}

protocol1::registerBytes HpsdrRadio::registerContent(int32_t index, const vtrx* keyed) {
  using namespace protocol1;
  switch (index) {
  case generalRegister:
    return general(SampleRate.value, filterBits(), lnaOn, RXAntenna.value, static_cast<int>(hwReceivers.size()));
  case driveRegister:
    return protocol1::drive(driveOf(keyed).value, TypeID.value, disableTR.value, enablePA.value, keyed && keyed->tune.get());
  case gainRegister: return gain(gainForm(), gainCode, rxGain.value, minRxRFGain.value);
  case adcRegister: return adcContent();
  case keyerRegister: return keyer(cwInternal.value);
  case hangTimeRegister: return hangTime(cwHangTime.value);
  default: return frequencyOf(index, keyed);
  }
}

protocol1::registerBytes HpsdrRadio::adcContent() const {
  constexpr std::size_t places = 8;
  int32_t adcs[places];
  const std::size_t count = std::min(places, hwReceivers.size());
  for (std::size_t i = 0; i < count; i++) adcs[i] = hwReceivers[i].adc;
  return protocol1::adcAssignment({adcs, count}, gainForm(), txGain.value, minRxRFGain.value);
}

// The frequency registers; the others are empty.
protocol1::registerBytes HpsdrRadio::frequencyOf(int32_t index, const vtrx* keyed) {
  const int receiver = protocol1::receiverOf(index);
  int32_t frequency;
  if (index == protocol1::transmitFrequencyRegister) {
    if (keyed) {
      const int64_t tuned = std::max<int64_t>(int64_t{keyed->vfo.get()} - TransceiverOffset.value, 0);
      txFrequency = static_cast<int32_t>(tuned + keyed->TxOffset.get());
    }
    frequency = txFrequency;
  } else if (receiver >= 0) {
    const auto r = static_cast<std::size_t>(receiver);
    frequency = r < hwReceivers.size() ? hwReceivers[r].frequency : protocol1::missingReceiver;
  } else
    return {};
  return protocol1::frequency(frequencyWord(frequency, frequencyCalibration.value, clockFrequency.value));
}

int32_t HpsdrRadio::filterBits() const {
  if (ptt.value || pttTail > 1) return filterOutputs(txFrequency, true);
  return filterOutputs(hwReceivers[0].frequency, false);
}

int32_t HpsdrRadio::filterOutputs(int32_t frequency, bool transmitting) const {
  if (UseJ16.value) return flatFilterOutputs(J16Set.items, frequency, transmitting);
  if (!FilterSet.value) return 0;
  if (transmitting) return transmitFilterOutputs(*FilterSet.value, frequency);
  return receiveFilterOutputs(*FilterSet.value, hwReceivers);
}

} // namespace larch
