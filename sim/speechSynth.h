// Where the voices on the band come from.
#pragma once
#include <optional>
#include <string>
#include "sim/wavFile.h"

namespace larch::sim {

// Text spoken by the program espeak-ng, mono. Empty when the program isn't there or fails. Takes some 50 ms.
std::optional<wavData> espeakSpeech(const std::string& text, const std::string& voice = "en", int wordsPerMinute = 160);

// A voice without words from a pulse train and formants: vowels and hisses in the rhythm of speech. 16 kHz, mono, peak 0.8.
// The same seed gives the same samples.
wavData syntheticSpeech(double seconds, uint64_t seed = 1);

// The first if it can be had, else the second, of a length that fits the text.
wavData speech(const std::string& text, const std::string& voice = "en", int wordsPerMinute = 160);

} // namespace larch::sim
