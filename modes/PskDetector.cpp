#include "modes/PskDetector.h"
#include <algorithm>
#include <array>

namespace larch {

void PskDetector::configure(const pskMode& mode, int32_t frequency) {
  mode_ = mode.value;
  detector.setMode(mode.value);
  detector.varicodeTable = reverseVaricode();
  Mode.write(mode.name);
  detector.setRxFrequency(frequency);
  detector.reset();
  freq.write(frequency);
}

void PskDetector::assign(int32_t frequency, int32_t blocks) {
  detector.setRxFrequency(frequency);
  detector.reset();
  lifeCount = blocks;
  if (const hostInt32 function = loadWord(reset)) queueUpdate([function] { function(1); });
}

void PskDetector::tellText(const char* characters, int32_t count) { postText(*this, loadWord(newChars), characters, count); }

void postText(asyncObject& object, hostText function, const char* characters, int32_t count) {
  if (!function || count <= 0) return;
  std::array<char, CPSKDet::maxCharacters + 1> text{};
  std::copy_n(characters, std::min(count, CPSKDet::maxCharacters), text.begin());
  object.queueUpdate([function, text] { function(text.data()); });
}

} // namespace larch
