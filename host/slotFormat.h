// How slots are cut out of the clock, recorded and filled with tones: the well-known modes and what a person sets instead.
#pragma once
#include "host/stationMode.h"
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larchhost {

struct slotFormat {
  int32_t period_ms = 15000;
  int32_t recorded_ms = 14400;     // from the slot's start on; the rest of the file is zeros
  int32_t samplesPerSymbol = 7680; // of what is sent, at 48000 samples/s
  double toneSpacing_Hz = 6.25;
  size_t tones = 0; // of a message; 0: any number
  bool c2 = false;  // .c2 files of WSPR's form, else WAV

  int32_t decimation() const { return c2 ? 128 : 4; }
  int32_t valuesIn(int32_t time_ms) const; // of a file
  int32_t samplesPerBlock() const;         // values in a file: the whole period
  int32_t endPadding() const;
  int64_t fileSize() const; // bytes
  filterEdges passband() const;
};

// What a person has said; the rest is the mode's, or follows from the period.
struct slotWishes {
  std::string mode; // empty: none of the known ones
  std::optional<int32_t> period_ms, recorded_ms, samplesPerSymbol;
  std::optional<double> toneSpacing_Hz;
  std::string save = "wav"; // or c2
};

// Throws std::runtime_error with a text for a person.
slotFormat chooseSlotFormat(const slotWishes& wishes);
std::string slotModeNames(); // "ft8, ft4, ..."

// The tones of a file's text: numbers between commas or white space, # begins a comment. A word of four or more digits is a tone
// for each digit. Where lines begin with "Channel symbols", as in what ft8code prints, the tones are
// those behind the last of them. Throws std::runtime_error with a text for a person, as do the following.
std::vector<float> parseTones(const std::string& text);
std::vector<float> readTones(const std::string& path);
// Whether a slot holds them, and the band holds them above `lowest_Hz`.
void checkTones(const std::vector<float>& tones, const slotFormat& format, int32_t lowest_Hz);
filterEdges toneEdges(const std::vector<float>& tones, const slotFormat& format, int32_t lowest_Hz); // to send them through

} // namespace larchhost
