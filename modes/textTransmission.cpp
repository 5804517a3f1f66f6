#include "modes/textTransmission.h"

namespace larch {

std::optional<char> takeForTransmission(modDemod& mode, textRing& text, const hostText& sentChars) {
  const auto c = text.take();
  if (!c) return std::nullopt;
  tellCharacter(mode, sentChars, *c);
  if (*c != endOfText) return c;
  const modDemodOwner held = mode.owner.load();
  if (const auto transceiver = held.object.lock(); transceiver && held.ptt) held.ptt->write(false);
  return std::nullopt;
}

// The closure is small enough to allocate nothing.
void tellCharacter(modDemod& mode, const hostText& event, char c) {
  const hostText function = loadWord(event);
  if (!function) return;
  mode.queueUpdate([function, c] {
    const char text[] = {c, '\0'};
    function(text);
  });
}

} // namespace larch
