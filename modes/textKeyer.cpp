#include "modes/textKeyer.h"
#include "dsp/saturatedInt32.h"
#include "modes/keyEdge.h"
#include "modes/morseTable.h"
#include <algorithm>

namespace larch {
namespace {

// The word PARIS has 50 dots: 48000 samples/s * 60 s / 50.
constexpr double dotSamples = 57600, dashSamples = 172800; // at one word per minute
constexpr int32_t idleLength = 6;                          // samples between two looks into an empty queue
constexpr int64_t rate = 48000;

bool endsTransmission(char c) { return c == '~' || c == '\r' || c == '\n'; }

} // namespace

void textKeyer::produce(const cbuff& out, const controls& with) {
  for (uint64_t i = 0; i < out.count; i++) {
    if (elementPosition_ >= elementLength_ && !beginElement(with)) {
      std::fill_n(out.data + i, out.count - i, 0.0);
      return;
    }
    const double now = shapedLevel();
    sounding_ = now > 0;
    out.data[i] = with.hardEdges ? static_cast<double>(sounding_) : now;
    if (with.sidetone) with.sidetone->store(sounding_, std::memory_order_relaxed); // stands for itself
    elementPosition_++;
  }
}

// False when the transmission is over: the element stays as it is, and the next call looks again.
bool textKeyer::beginElement(const controls& with) {
  if (++index_ >= text_.size()) takeCharacter();
  const char element = text_[index_];
  if (element == '#') {
    if (idle(with)) return false;
  } else {
    idleSamples_ = 0;
    amplitude_ = element == ' ' ? 0.0 : level;
    // an infinite length at 0 words per minute becomes the longest there is; a negative one lasts one sample
    elementLength_ = saturatedInt32((element == '-' ? dashSamples : dotSamples) / with.wpm);
  }
  elementPosition_ = 0;
  return true;
}

void textKeyer::takeCharacter() {
  char c = around_.nextCharacter().value_or('#');
  if (endsTransmission(c)) {
    around_.endTransmission();
    c = ' ';
  }
  text_ = morseText(c);
  index_ = 0;
}

// True when nothing has been keyed for longer than the hang time.
bool textKeyer::idle(const controls& with) {
  amplitude_ = 0;
  elementLength_ = idleLength;
  idleSamples_ += idleLength;
  if (idleSamples_ * 1000 / rate <= with.hangTime_ms) return false;
  if (!with.radioPtt) around_.endTransmission();
  return true;
}

double textKeyer::shapedLevel() const {
  if (amplitude_ == 0) return 0;
  const double left = static_cast<double>(elementLength_) - elementPosition_;
  if (left <= keyEdgeLength) return amplitude_ * keyEdge(keyEdgeLength - left); // a short element has no rise of its own
  if (elementPosition_ <= keyEdgeLength) return amplitude_ * keyEdge(keyEdgeLength - elementPosition_);
  return amplitude_;
}

} // namespace larch
