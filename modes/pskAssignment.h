// Gives the signals that the scanner has found to the channels of one speed.
#pragma once
#include "modes/PskDetector.h"
#include "modes/pskScanner.h"
#include <memory>
#include <span>

namespace larch {

// Peaks strongest first. A peak within 20 Hz of a claimed channel is tracked by it; another one gets a channel of its own, as
// long as the search finds one that may be taken, and at most four in a pass. rt but for what the host is told.
void assignChannels(std::span<const pskPeak> peaks, std::span<const std::shared_ptr<PskDetector>> channels);

} // namespace larch
