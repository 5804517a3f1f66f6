#include "modes/cwModDemod.h"
#include "audio/audioOutputStream.h"
#include "dsp/saturatedInt32.h"
#include <algorithm>
#include <limits>

namespace larch {
namespace {

constexpr double signalRate = 48000, firstPitch = 650; // Hz

// A host's double may lie beyond every float.
float narrowed(double value) {
  constexpr double limit = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -limit, limit));
}

// relaxed: each word stands for itself
void sound(const modDemodOwner& held, bool key) {
  if (held.audioOut) held.audioOut->keyA.store(key, std::memory_order_relaxed);
}

} // namespace

cwModDemod::cwModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)), tone_(signalRate, firstPitch),
      keyer_({[this] { return nextCharacter(); }, [this] { endTransmission(); }}),
      lastFreq_(std::numeric_limits<double>::quiet_NaN()) {
  // keying must reach the output without the block delay of the voice path
  useTxFilter = false;
  blockedTx = false;
  minimumPhaseRx = true;
}

void cwModDemod::keyDown() {
  onSignalGroup("cwModDemod.KeyDown", [this](const modDemodOwner& held) {
    sound(held, true);
    if (held.ptt) held.ptt->write(true);
    key_.press();
  });
}

void cwModDemod::keyUp() {
  onSignalGroup("cwModDemod.KeyUp", [this](const modDemodOwner& held) {
    key_.release();
    sound(held, false);
  });
}

void cwModDemod::queueText(const std::string& text, uint32_t base) {
  onSignalGroup("cwModDemod.QueueText", [this, text, base](const modDemodOwner&) { text_.queue(text, base); });
}

buff<float> cwModDemod::demodulate(const cbuff& block) {
  const modDemodOwner held = owner.load();
  const auto transceiver = held.object.lock();
  if (!transceiver || !held.radioPttUp || !*held.radioPttUp) {
    if (transceiver) silenceText(held);
    decode(block);
  }
  tone_.setFrequency(freq.get());
  buff<float> audio(block.count);
  for (uint64_t i = 0; i < block.count; i++) {
    const std::complex<double> x = block.data[i], p = tone_.next();
    audio.data[i] = static_cast<float>(x.real() * p.real() - x.imag() * p.imag());
  }
  tone_.normalise();
  return audio;
}

void cwModDemod::decode(const cbuff& block) {
  decoder_.process(block, [this](char c) { tell(newChars, c); });
  rxwpm.write(decoder_.speed());
}

// A transmission that was ended in the middle of a mark leaves no sidetone behind.
void cwModDemod::silenceText(const modDemodOwner& held) {
  if (keyer_.isSounding() && !key_.isDown()) sound(held, false);
}

void cwModDemod::modulate(const cbuff& input, const cbuff& output) {
  static_cast<void>(input);
  const modDemodOwner held = owner.load();
  const auto transceiver = held.object.lock(), radio = held.radio.lock();
  audioOutputStream* const speaker = transceiver ? held.audioOut : nullptr;
  if (speaker) publishSidetone(*speaker);
  const bool hardEdges = radio && held.cwInternal->get();
  if (key_.produce(output, hardEdges)) {
    if (key_.isDown()) keyer_.noteKeying();
    return;
  }
  keyer_.produce(output, {.wpm = wpm.get(),
                          .hangTime_ms = swHangTime.get(),
                          .radioPtt = radio && held.RadioPtt->get(),
                          .hardEdges = hardEdges,
                          .sidetone = speaker ? &speaker->keyA : nullptr});
}

void cwModDemod::publishSidetone(audioOutputStream& speaker) {
  // relaxed, both: each stands for itself
  speaker.toneVolume.store(narrowed(sidetoneVolume.get()), std::memory_order_relaxed);
  const double pitch = freq.get();
  if (pitch == lastFreq_ && &speaker == lastSpeaker_) return;
  lastFreq_ = pitch;
  lastSpeaker_ = &speaker;
  speaker.toneFrequency.store(saturatedInt32(pitch), std::memory_order_relaxed);
}

std::optional<char> cwModDemod::nextCharacter() {
  const auto c = text_.take();
  if (c) tell(sentChars, *c);
  return c;
}

void cwModDemod::endTransmission() {
  const modDemodOwner held = owner.load();
  if (const auto transceiver = held.object.lock(); transceiver && held.ptt) held.ptt->write(false);
}

// For the host's poll; the closure is small enough to allocate nothing.
void cwModDemod::tell(const hostText& event, char c) {
  const hostText function = loadWord(event);
  if (!function) return;
  queueUpdate([function, c] {
    const char text[] = {c, '\0'};
    function(text);
  });
}

} // namespace larch
