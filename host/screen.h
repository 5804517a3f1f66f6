// The live picture in the terminal: spectrum, waterfall, meters and keys, as one string of text and colour codes.
#pragma once
#include "host/station.h"
#include <deque>
#include <string>
#include <vector>

namespace larchhost {

struct screenState {
  const station* radio = nullptr;
  std::vector<const receiver*> receivers;
  size_t selected = 0;
  int32_t step = 100; // Hz
  double zoom = 1;
  std::string audio;                // where the sound goes
  std::string message;              // a warning, or empty
  std::vector<std::string> further; // lines below the receivers
  std::string keys;                 // what the keys do
};

class screen {
 public:
  screen(bool trueColour, bool unicode) : trueColour_(trueColour), unicode_(unicode) {}
  // Levels in dBm from low to high Hz of the selected receiver; adds a line to the waterfall and gives the whole picture.
  std::string draw(const screenState& state, const std::vector<double>& levels, double low, double high, int columns, int rows);
  void clearWaterfall() { waterfall_.clear(); }

 private:
  void addSpectrum(std::string& out, const std::vector<double>& columns, int rows) const;
  void addWaterfall(std::string& out, int columns, int rows) const;
  void addColour(std::string& out, double level, bool background) const;

  bool trueColour_, unicode_;
  double bottom_ = -120, top_ = -50;          // dBm, follow the band slowly
  std::deque<std::vector<double>> waterfall_; // newest first
};

// Empty while the radio's rate is enough for the mode.
std::string rateWarning(const receiver& r);
// "S9+12" for -61 dBm; S9 is -73 dBm and an S-unit 6 dB.
std::string sMeterText(double level_dBm);
// A bar of `width` characters, lit from the left by a share of 0 to 1; NaN is 0.
std::string levelBar(double share, int width, bool unicode);
// A bar of `width` characters from S0 to S9+60.
std::string sMeterBar(double level_dBm, int width, bool unicode);

} // namespace larchhost
