// How the text of a mode leaves its ring, and how the host hears of text.
#pragma once
#include "modes/hostEvents.h"
#include "modes/modDemod.h"
#include "modes/textRing.h"
#include <optional>

namespace larch {

constexpr char endOfText = '~';

// The next character to send, told to the host as it was queued. "~" drops the transceiver's ptt and is nothing to send, as is an
// empty ring. The transceiver's group; rt but for what the host is told.
std::optional<char> takeForTransmission(modDemod& mode, textRing& text, const hostText& sentChars);

// One character for the host's poll; byte 0 is an empty text. rt.
void tellCharacter(modDemod& mode, const hostText& event, char c);

} // namespace larch
