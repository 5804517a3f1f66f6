#include "modes/RTTYModDemod.h"
#include "modes/realAudio.h"
#include "modes/rttyConsole.h"
#include "modes/textTransmission.h"
#include <utility>

namespace larch {
namespace {

constexpr uint64_t traceLength = 1024;

} // namespace

RTTYModDemod::RTTYModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)),
      decoder_({[this](const rttyPeriod& period) { heard(period); }, [this](float value) { traced(value); }}),
      keyer_([this] { return takeForTransmission(*this, text_, sentChars); }), debugBuffer_(traceLength) {
  rttyConsole::shared(); // its thread isn't made by the signal
}

buff<float> RTTYModDemod::demodulate(const cbuff& block) {
  decoder_.process(block.data, block.count, rxFreq.get());
  return realAudio(block);
}

void RTTYModDemod::modulate(const cbuff& input, const cbuff& output) {
  static_cast<void>(input);
  keyer_.produce(output);
}

void RTTYModDemod::heard(const rttyPeriod& period) {
  rttyConsole::shared().post(period);
  if (period.hasCharacter) tellCharacter(*this, newChars, period.character);
}

// The host's poll makes the handle; lost or refused, the trace goes with its task.
void RTTYModDemod::traced(float value) {
  debugBuffer_.data[debugIndex_] = value;
  if (++debugIndex_ < traceLength) return;
  debugIndex_ = 0;
  const hostSamples function = loadWord(newDebug);
  if (!function) return;
  queueUpdate([function, trace = std::exchange(debugBuffer_, buff<float>(traceLength))] { function(new buff<float>(trace)); });
}

} // namespace larch
