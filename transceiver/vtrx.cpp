#include "transceiver/vtrx.h"
#include "audio/deviceLists.h"
#include "dsp/filterDesign.h"
#include "dsp/vectorOps.h"
#include "runtime/library.h"

namespace larch {
namespace {

constexpr int32_t channelRate = 48000; // Hz, without a mode and always for transmit
constexpr int32_t closedOutput = -1, closedInput = 0;

// Host values may be anything: the sum wraps.
int32_t wrappingSum(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }

} // namespace

// body(port, this object) runs on the radio's group; without a radio nothing is asked.
template <class Body> void vtrx::postToRadio(const char* name, Body body) {
  auto port = radio.lock();
  if (!port) return;
  auto self = std::static_pointer_cast<vtrx>(shared_from_this());
  radioPort& target = *port;
  target.queueSeqProcess(seqTask([port = std::move(port), self = std::move(self), body] { body(*port, self); }, name));
}

vtrx::vtrx(std::shared_ptr<syncTask> group) : asyncObject(std::move(group)) {}
vtrx::~vtrx() = default;

void vtrx::init() {
  rxagc.write(std::make_shared<agc>(defaultGroup()));
  txagc.write(std::make_shared<agc>(defaultGroup()));
  txagc.value->Volume.write(0.0f); // silent while transmitting until the host says otherwise
  gain_.init(keptByCore(std::make_shared<agc>(defaultGroup())));
  audioOutput.write(defaultOutputDevice());
  audioInput.write(inputDevices().defaultIndex);
  followSpecFreq();
  painter_.latchCentre(specFreq.value);
  watchProperties();
}

void vtrx::watchProperties() {
  ptt.observer = [this] { pttChanged(); };
  vfo.observer = [this] { vfoChanged(); };
  specOffset.observer = [this] { followSpecFreq(); };
  audioOutput.observer = [this] { audioOut.openOutput(started_ && !muted.value ? audioOutput.value : closedOutput); };
  audioInput.observer = [this] { micIn.setInput(started_ && !muted.value ? audioInput.value : closedInput); };
  muted.observer = [this] {
    audioOut.openOutput(started_ && !muted.value ? audioOutput.value : closedOutput);
    // required: the microphone follows `muted` alone, also before the start
    micIn.setInput(muted.value ? closedInput : audioInput.value);
  };
  ADCs.observer = [this] { postSetRxFrequency(vfo.value); };
  DelayAudio.observer = [this] { transmit_.setDelay(DelayAudio.value); };
}

void vtrx::followSpecFreq() { specFreq.write(wrappingSum(vfo.value, specOffset.value)); }

void vtrx::vfoChanged() {
  postSetRxFrequency(vfo.value);
  followSpecFreq();
  if (mode_) mode_->vfoChanged(vfo.value);
}

void vtrx::openAudio() {
  audioOut.openOutput(muted.value ? closedOutput : audioOutput.value);
  micIn.setInput(muted.value ? closedInput : audioInput.value);
}

void vtrx::closeAudio() {
  audioOut.openOutput(closedOutput);
  micIn.setInput(closedInput);
}

void vtrx::start() {
  started_ = true;
  openAudio();
}

void vtrx::stop() {
  started_ = false;
  closeAudio();
}

void vtrx::remove() {
  stop();
  postToRadio("radio.removeVtrx", [](radioPort& port, const std::shared_ptr<vtrx>& self) { port.removeVtrx(self); });
}

void vtrx::detach() { radio.reset(); }

void vtrx::setModulation(std::shared_ptr<modDemod> mode) {
  mode_.swap(mode); // the old one lives until the end of this task
  // a key that the old mode held down goes with it: nobody else would let the sidetone go; relaxed: it stands for itself
  if (mode_ != mode) audioOut.keyA.store(false, std::memory_order_relaxed);
  if (mode_) {
    publishOwner();
    mode_->attached();
  }
  if (mode && mode != mode_ && mode->owner.load().object.lock().get() == this) mode->owner.publish({});
}

void vtrx::publishOwner() {
  modDemodOwner view{weak_from_this(), &ptt, &vfo, &audioOut, &radioPttUp, {}, nullptr, nullptr};
  if (const auto port = radio.lock()) {
    view.radio = port;
    view.RadioPtt = &port->RadioPtt;
    view.cwInternal = &port->cwInternal;
  }
  mode_->owner.publish(std::move(view));
}

void vtrx::setRxFilter(int32_t low, int32_t high) {
  const int32_t rate = mode_ ? mode_->sampleRate() : channelRate;
  constexpr int32_t taps = channelReceiver::filterTaps;
  const cbuff filter = makeBandpass(low, high, rate, taps, taps);
  channel_.setTaps(mode_ && mode_->minimumPhaseRx ? minimumPhase(filter) : filter);
  if (mode_) mode_->setRxFilter(low, high);
}

void vtrx::setTxFilter(int32_t low, int32_t high) {
  constexpr int32_t taps = transmitChain::filterTaps;
  transmit_.setTaps(makeBandpass(low, high, channelRate, taps, taps));
  if (mode_) mode_->setTxFilter(low, high);
}

void vtrx::setRxFrequency(int32_t frequency) { postSetRxFrequency(frequency); }

void vtrx::postSetRxFrequency(int32_t frequency) {
  postToRadio("radio.setRxFrequency", [frequency, mask = ADCs.value](radioPort& port, const std::shared_ptr<vtrx>& self) {
    port.setRxFrequency(frequency, self, mask);
  });
}

void vtrx::postSetPtt() {
  postToRadio("radio.setPtt", [](radioPort& port, const std::shared_ptr<vtrx>& self) { port.setPtt(self); });
}

void vtrx::releaseRadio() {
  postSetPtt();
  radioPttUp = false;
}

void vtrx::pttChanged() {
  if (ptt.value) {
    postSetPtt();
    transmit_.keyDown(mode_.get());
    if (mode_) {
      mode_->txFinishing = false;
      mode_->pttChanged(true);
    }
    radioPttUp = true;
    return;
  }
  if (mode_) mode_->pttChanged(false);
  transmit_.keyUp(mode_.get());
  if (!mode_) return releaseRadio();
  mode_->txFinishing = true; // the radio stays keyed until the fall is complete
}

void vtrx::modulateTask() {
  const modeTurn turn(mode_.get());
  const cbuff group = transmit_.produce(turn.mode(), tune.value, [this](const buff<float>& mic) {
    fill(mic, 0.0f); // what no device fills is silence
    micIn.readMicrophone(mic);
  });
  postToRadio("radio.transmit", [group](radioPort& port, const std::shared_ptr<vtrx>&) { port.transmit(group); });
  // until the radio ends these tasks it is told with each group, which only makes it read ptt again
  if (transmit_.isOver()) releaseRadio();
}

} // namespace larch
