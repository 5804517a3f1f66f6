// Makes signals from the words of a scene file's line.
#pragma once
#include <memory>
#include <string>
#include <vector>
#include "sim/signalSource.h"

namespace larch::sim {

// words: kind, frequency, level, then key=value. Files are looked for beside `folder`. Throws std::runtime_error.
std::shared_ptr<const signalSource> makeSignal(const std::vector<std::string>& words, const std::string& folder);

} // namespace larch::sim
