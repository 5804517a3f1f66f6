// Options as typed, turned into what the station takes; each throws std::runtime_error with a text for a person.
#pragma once
#include "host/textValues.h"
#include "host/voiceModes.h"
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace larchhost {

voice needVoice(const std::string& text);
int32_t needFrequency(const std::string& text);
filterEdges needFilter(const std::string& text, int32_t widest = widestChannel);
int32_t needRate(const std::string& text);

// The id of a sound device of the library's list, and how it is shown; an empty text is the system's default.
int32_t chooseOutput(const std::string& text, std::string& shown);
int32_t chooseInput(const std::string& text, std::string& shown);

// The microphone equaliser: up to nine points "FREQUENCY:GAIN", rising in frequency, apart by commas or white space; or the name
// of a file that holds them, where # begins a comment. Gains are linear factors. Always nine points: the last gain goes on.
using equaliserPoints = std::vector<std::pair<double, double>>;
equaliserPoints needEqualiser(const std::string& text);

} // namespace larchhost
