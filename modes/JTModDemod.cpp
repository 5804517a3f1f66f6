#include "modes/JTModDemod.h"
#include "modes/realAudio.h"
#include "modes/slotTime.h"
#include "platform/clock.h"
#include "runtime/log.h"
#include <algorithm>

namespace larch {
namespace {

constexpr int32_t c2File = 1;
constexpr int32_t longestWithLateStart_ms = 60000; // a slot that long has none
constexpr uint64_t samplesForAValue = 4;           // at the default decimation
constexpr double megahertz = 1e6;

} // namespace

buff<float> JTModDemod::demodulate(const cbuff& block) {
  modDemodOwner held = owner.load();
  const auto transceiver = held.object.lock(); // what `held` points to lives as long
  if (!transceiver) held = {};
  if (!capture_.isRunning()) lookForSlot(held);
  record(block, held);
  lookForLateStart(held);
  tellFile();
  return realAudio(block);
}

bool JTModDemod::mayBegin() const { return period.get() >= halfSecond_ms && Decimation.get() > 0; }

// However short its capture, a half-second begins one slot.
void JTModDemod::lookForSlot(const modDemodOwner& held) {
  const int64_t now = halfSecondOf(utcNow_ns());
  if (now == servedHalfSecond_) return;
  servedHalfSecond_ = noHalfSecond; // a clock that is set back finds its slots again
  if (!mayBegin() || !beginsSlotAt(now, period.get())) return;
  servedHalfSecond_ = now;
  beginSlot(now, held);
}

void JTModDemod::beginSlot(int64_t halfSecond, const modDemodOwner& held) {
  const bool c2 = SaveMode.get() == c2File;
  capture_.begin(samplesPerBlock.get(), c2);
  fileName_ = saveDirectory.get() + slotFileName(halfSecond, period.get(), c2);
  if (!send(held, 0)) activeTag_ = noTag;
}

void JTModDemod::record(const cbuff& block, const modDemodOwner& held) {
  if (!capture_.add(block, {samplesPerBlock.get(), endPadding.get(), Decimation.get()})) return;
  finishedTag_ = activeTag_;
  const double vfo = held.vfo ? held.vfo->value : 0.0;
  job_.start({fileName_, capture_.take(), vfo / megahertz});
}

// The tones whose time is over are left out. required: counted in values of four samples, whatever Decimation is, and by the
// count of the last capture when it has ended.
void JTModDemod::lookForLateStart(const modDemodOwner& held) {
  const uint64_t count = capture_.captureCount();
  if (queued_.isEmpty() || count >= slotCapture::lateStartLimit || !mayBegin()) return;
  if (period.get() >= longestWithLateStart_ms || !held.ptt || held.ptt->value) return;
  send(held, static_cast<int64_t>(count * samplesForAValue) / std::max(samplesPerSymbol.get(), 1));
}

// False without a message.
bool JTModDemod::send(const modDemodOwner& held, int64_t firstTone) {
  const auto message = queued_.take();
  if (!message) return false;
  tones_.begin(std::move(message->tones), firstTone);
  activeTag_ = message->tag;
  if (held.ptt) held.ptt->write(true);
  return true;
}

void JTModDemod::tellFile() {
  try {
    const auto path = job_.take();
    if (!path) return;
    const hostText function = loadWord(newFile);
    if (function)
      queueUpdate([function, text = *path + std::to_string(finishedTag_)] { function(text.c_str()); }); // required: no separator
  } catch (const std::exception& e) {
    logError("JTModDemod {}", e.what());
  }
  finishedTag_ = noTag;
}

void JTModDemod::modulate(const cbuff& input, const cbuff& output) {
  static_cast<void>(input);
  if (!tones_.produce(output, {samplesPerSymbol.get(), toneSpacing.get(), txFreq.get()})) return;
  const modDemodOwner held = owner.load();
  if (const auto transceiver = held.object.lock(); transceiver && held.ptt) held.ptt->write(false);
}

} // namespace larch
