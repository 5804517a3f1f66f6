// What the detectors of the PSK mode hear, sorted into signals, each with its text, and into lines.
#pragma once
#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace larchhost {

struct pskSignal {
  int32_t frequency = 0; // Hz of audio
  std::string mode, text;
  double level_dBm = 0;
  bool primary = false;
};

// Several detectors may follow one signal: those of one mode that stand within `sameSignal` are one, told by the primary detector
// if it is among them, else by the one that heard it first. A detector of another speed on the same signal, and one on a signal's
// sidebands, make up some letters: where another speed hears more, where a signal at whose edge it stands has twice as many, and
// where a much louder signal nearby has, they are left out, and so is what can't be seen above the noise: a harmonic of a very
// loud signal, made where it is heard. Of the operator's detectors only the primary one counts. Texts are bytes as they were
// sent: Latin-1, without control characters.
class pskBand {
 public:
  using clock = std::chrono::steady_clock;
  static constexpr size_t detectors = 66, scanning = 60;
  static constexpr size_t lineLength = 60;
  static constexpr std::chrono::seconds silence{2}, forgotten{15};
  static constexpr int32_t sameSignal = 20, edges = 60, sidebands = 120; // Hz
  static constexpr double muchLouder_dB = 15, leastAboveNoise_dB = 8;

  // A detector below `detectors`, as the library tells of it.
  void setMode(size_t detector, const std::string& mode) { all_.at(detector).mode = mode; }
  int32_t frequency(size_t detector) const { return all_.at(detector).frequency; }
  void setFrequency(size_t detector, int32_t frequency) { all_.at(detector).frequency = frequency; }
  void setPrimary(size_t detector);
  void setNoise(double level_dBm) { noise_dBm_ = level_dBm; } // what no signal is weaker than
  void restart(size_t detector);                              // it has been given another signal
  void restart();                                             // all have
  void add(size_t detector, const std::string& text, double level_dBm, clock::time_point now);

  // Lines that have ended, by a line end, by their length or by silence.
  std::vector<pskSignal> takeLines(clock::time_point now);
  std::vector<pskSignal> takeRest(); // lines that haven't
  // What has been heard lately, by rising frequency, with the end of each text.
  std::vector<pskSignal> heard() const;

 private:
  struct state {
    std::string mode, line, text;
    int32_t frequency = 0;
    clock::time_point first, last; // text came; only with `active`
    double amount = 0;             // of characters, at `last`: fades away
    double level_dBm = 0;
    bool active = false;
  };
  bool counts(const state& s) const;
  bool told(const state& s) const;
  bool madeUp(const state& s) const;
  bool buried(const state& s) const { return s.level_dBm < noise_dBm_ + leastAboveNoise_dB; }
  double amountNow(const state& s) const;
  void count(state& s, const std::string& text, double level_dBm);
  void takeCharacter(state& s, char c);
  void cutLine(state& s);
  void endLine(const state& s, std::string line);

  std::array<state, detectors> all_;
  size_t primary_ = scanning;
  double noise_dBm_ = -1000;
  clock::time_point now_; // of the last call that told it
  std::vector<pskSignal> lines_;
};

// For a terminal: UTF-8, or where that isn't shown "?" for what isn't ASCII.
std::string shownText(const std::string& latin1, bool unicode);

} // namespace larchhost
