#include "modes/PskModDemod.h"
#include "modes/pskAssignment.h"
#include "modes/realAudio.h"
#include <algorithm>

namespace larch {
namespace {

constexpr size_t scanningChannels = 30; // of each scanned speed
constexpr size_t firstPrimary = 2 * scanningChannels;
constexpr int32_t channelStep = 100;     // Hz
constexpr int32_t firstFrequency = 1500; // Hz, of the primary detectors and of rxFreq
constexpr int32_t tailSamples = 96000;   // two seconds of carrier after ptt falls
constexpr int32_t idleSamples = 48000;   // before the first character
constexpr uint64_t decimation = 6;       // to 8000 samples per second
constexpr int32_t refreshBlocks = 11;
constexpr char endOfText = '~';
constexpr const pskMode& psk31 = pskModes[0];
constexpr const pskMode& psk63 = pskModes[1];

int32_t primaryOf(int32_t mode) {
  int32_t index = firstPrimary; // behind the scanning channels stands one detector for each mode, in the table's order
  for (const pskMode& m : pskModes) {
    if (m.value == mode) return index;
    index++;
  }
  return 0; // required: a mode outside the table selects detector 0
}

// The mode whose signal this thread works on: what its observers do then happens at once.
thread_local const PskModDemod* signalOf = nullptr;
struct signalScope {
  explicit signalScope(const PskModDemod* mode) { signalOf = mode; }
  ~signalScope() { signalOf = nullptr; }
};

} // namespace

PskModDemod::PskModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)), modulator_([](void* self) { return static_cast<PskModDemod*>(self)->nextCharacter(); }, this) {
  for (const pskMode& m : pskModes) Modes.append(keptByCore(std::make_shared<ValueLabelItem>(taskgroup, m.value, m.name)));
  for (int32_t i = 1; i <= static_cast<int32_t>(scanningChannels); i++) addDetector(psk31, i * channelStep);
  for (int32_t i = 1; i <= static_cast<int32_t>(scanningChannels); i++) addDetector(psk63, i * channelStep);
  for (const pskMode& m : pskModes) addDetector(m, firstFrequency);
  rxFreq.write(firstFrequency);
  txTailSamples = tailSamples;
  // after the first write: until rxFreq changes, txFreq stays as it was
  rxFreq.observer = [this] { frequencyChanged(); };
  mode.observer = [this] { modeChanged(); };
  primaryDetector.observer = [this] { primaryChanged(); };
}

void PskModDemod::addDetector(const pskMode& detected, int32_t frequency) {
  auto row = keptByCore(std::make_shared<PskDetector>(taskgroup));
  row->configure(detected, frequency);
  signalDetectors_[dets.items.size()] = &row->detector;
  detectors_[dets.items.size()] = row;
  dets.append(std::move(row));
}

PskDetector* PskModDemod::detector(int32_t index) const {
  const auto at = static_cast<size_t>(index); // negative: beyond the end
  return at < detectors_.size() ? detectors_[at].get() : nullptr;
}

template <class Body> void PskModDemod::onSignal(const char* name, Body body) {
  if (signalOf == this) return body();
  onSignalGroup(name, [body](const modDemodOwner&) { body(); });
}

void PskModDemod::modeChanged() {
  const PskDetector* present = detector(primaryDetector.get());
  if (!present || present->mode() != mode.get()) {
    const int32_t index = primaryOf(mode.get());
    onSignal("PskModDemod.primary",
             [next = detector(index), hertz = rxFreq.get()] { next->assign(hertz, PskDetector::claimedBlocks); });
    primaryDetector.write(index);
  }
  onSignal("PskModDemod.mode", [this, wanted = mode.get()] { modulator_.setMode(wanted); });
}

void PskModDemod::primaryChanged() {
  if (const PskDetector* present = detector(primaryDetector.get())) mode.write(present->mode());
}

void PskModDemod::frequencyChanged() {
  const int32_t hertz = rxFreq.get();
  onSignal("PskModDemod.rxFreq", [this, hertz] { tune(hertz); });
  txFreq.write(hertz);
}

void PskModDemod::tune(int32_t frequency) {
  if (PskDetector* primary = detector(primaryDetector.get())) primary->detector.setRxFrequency(frequency);
  for (size_t i = firstPrimary; i < detectors_.size(); i++) detectors_[i]->detector.setRxFrequency(frequency);
  modulator_.setFrequency(frequency);
}

buff<float> PskModDemod::demodulate(const cbuff& block) {
  const modDemodOwner held = owner.load();
  const auto transceiver = held.object.lock();
  const bool transmitting = transceiver && held.radioPttUp && *held.radioPttUp;
  if (!transmitting) {
    const signalScope here(this);
    uint64_t at = decimationPhase_;
    for (; at < block.count; at += decimation) take(block.data[at].real());
    decimationPhase_ = at - block.count;
  }
  return realAudio(block);
}

void PskModDemod::take(double sample) {
  block_[fill_++] = scale_.scaled(sample);
  if (fill_ < block_.size()) return;
  fill_ = 0;
  processBlock();
}

void PskModDemod::processBlock() {
  const auto peaks = scanner_.process(block_.data());
  const std::span<const std::shared_ptr<PskDetector>> all(detectors_);
  assignChannels(peaks, all.subspan(0, scanningChannels));
  assignChannels(peaks, all.subspan(scanningChannels, scanningChannels));
  // the detectors behind the primary one hear the block at the frequency that it has found
  const int32_t primary = primaryDetector.get();
  const size_t next = std::clamp<size_t>(static_cast<size_t>(primary) + 1, firstPrimary, detectorCount);
  detect(0, firstPrimary, primary);
  detect(firstPrimary, next - firstPrimary, primary);
  detect(next, detectorCount - next, primary);
  refreshCount_ = (refreshCount_ + 1) % refreshBlocks;
}

void PskModDemod::detect(size_t first, size_t count, int32_t primary) {
  std::array<pskText, detectorCount> text;
  processDetectors(std::span(signalDetectors_).subspan(first, count), block_.data(), pskScanner::blockLength, text);
  for (size_t i = 0; i < count; i++) report(*detectors_[first + i], text[i], first + i == static_cast<size_t>(primary));
}

void PskModDemod::report(PskDetector& d, const pskText& text, bool primary) {
  if (text.count > 0) {
    d.tellText(text.characters, text.count);
    d.lifeCount = PskDetector::claimedBlocks;
    if (primary) postText(*this, loadWord(newChars), text.characters, text.count);
  } else if (d.lifeCount > 0) {
    d.lifeCount--;
  }
  if (primary) {
    d.lifeCount = PskDetector::claimedBlocks;
    rxFreq.write(d.frequency());
    txFreq.write(d.frequency());
  }
  if (refreshCount_ == 0) d.freq.write(d.frequency());
}

void PskModDemod::modulate(const cbuff& input, const cbuff& output) {
  static_cast<void>(input);
  ending_ = false;
  modulator_.modulate(output.data, output.count);
  txHold_ = std::max<int64_t>(txHold_ - static_cast<int64_t>(output.count), 0);
}

void PskModDemod::pttChanged(bool on) {
  if (on) txHold_ = idleSamples;
}

// required: a character of 128 or more comes out negative and keys no text
int32_t PskModDemod::nextCharacter() {
  if (txHold_ > 0) return CPSKMod::idle;
  if (txFinishing || ending_) return CPSKMod::carrier;
  const auto c = text_.take();
  if (!c) return CPSKMod::idle;
  postText(*this, loadWord(sentChars), &*c, 1);
  if (*c != endOfText) return static_cast<signed char>(*c);
  ending_ = true;
  endTransmission();
  return CPSKMod::carrier;
}

void PskModDemod::endTransmission() {
  const modDemodOwner held = owner.load();
  if (const auto transceiver = held.object.lock(); transceiver && held.ptt) held.ptt->write(false);
}

} // namespace larch
