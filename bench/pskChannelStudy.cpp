// Error rate of PSK over channels, its squelch, and what it makes of noise alone: pskChannelStudy [seeds a point [squelch]]. A
// line a value: mode, channel, dB of a symbol to the noise in one hertz, percent. bench/errorCurves turns them into tables and
// pictures.
#include "tests/modes/pskChannel.h"
#include <cstdio>
#include <cstdlib>
#include <span>

using namespace larch;
using namespace larch::study;

namespace {

size_t charactersOf(const pskVariant& v) { return static_cast<size_t>(30 * v.baud / 31.25); } // about 7 s
size_t idleOf(const pskVariant& v) { return static_cast<size_t>(32 + v.baud); }               // as the modem's own sender

using levels = std::vector<double>;
const levels allLevels{7, 8, 9, 10, 11, 12, 13, 14, 16}, openLevels{5, 6, 7, 8, 10, 12}, someLevels{8, 10, 12, 14, 16, 18},
    fadingLevels{10, 14, 18, 22, 26, 30};

// Nine tenths of the offset that each mode acquires in little noise: see printAcquired.
double farOff_Hz(const pskVariant& v) {
  const bool fourPhases = v.value & 1;
  if (v.baud > 100) return fourPhases ? 39 : 45;
  if (v.baud > 50) return fourPhases ? 18 : 20;
  return fourPhases ? 8 : 9;
}

struct condition {
  const char* name;
  levels perSymbol_dB;
  bool squelch;
  void (*set)(pskChannel& c, const pskVariant& v, bool odd);
};
const condition conditions[] = {
    {"noise", allLevels, true, [](pskChannel&, const pskVariant&, bool) {}},
    {"open", openLevels, false, [](pskChannel&, const pskVariant&, bool) {}},
    {"offset", someLevels, true, [](pskChannel& c, const pskVariant& v, bool odd) { c.offset_Hz = (odd ? 0.2 : -0.2) * v.baud; }},
    {"far", someLevels, true, [](pskChannel& c, const pskVariant& v, bool odd) { c.offset_Hz = (odd ? 1 : -1) * farOff_Hz(v); }},
    {"limit", someLevels, true,
     [](pskChannel& c, const pskVariant&, bool odd) { c.offset_Hz = (odd ? 1 : -1) * nearAfcLimit_Hz; }},
    {"slid", someLevels, true, [](pskChannel& c, const pskVariant& v, bool odd) { slideAway(c, v, odd ? 1 : -1); }},
    {"drift", someLevels, true,
     [](pskChannel& c, const pskVariant& v, bool odd) { c.drift_Hz_s = (odd ? 0.2 : -0.2) * v.baud / 31.25; }},
    {"clock", someLevels, true, [](pskChannel& c, const pskVariant&, bool odd) { c.clock_ppm = odd ? 300 : -300; }},
    {"neighbour", someLevels, true, [](pskChannel& c, const pskVariant&, bool odd) { c.neighbour_Hz = odd ? 60 : -60; }},
    {"fading", fadingLevels, true, [](pskChannel& c, const pskVariant&, bool) { c.fading = moderateFading; }},
};

double errors_percent(const pskVariant& v, const condition& what, double perSymbol_dB, uint64_t rounds) {
  size_t wrong = 0;
  for (uint64_t round = 1; round <= rounds; round++) {
    sim::randomSource random(round);
    eightTexts texts;
    std::array<pskChannel, together> channels;
    for (size_t k = 0; k < together; k++) {
      texts[k] = randomWords(charactersOf(v), random);
      channels[k].perSymbol_dB = perSymbol_dB;
      channels[k].idle = idleOf(v);
      what.set(channels[k], v, k % 2);
    }
    const auto read = readPsk(v, pskAudio(v, texts, channels, random), what.squelch);
    for (size_t k = 0; k < together; k++) wrong += editDistance(texts[k], read[k]);
  }
  return 100.0 * static_cast<double>(wrong) / static_cast<double>(charactersOf(v) * rounds * together);
}

void print(const pskVariant& v, const char* what, double at, double value) {
  std::printf("%s %s %g %.3f\n", v.name, what, at, value);
  std::fflush(stdout);
}

// Symbols from the begin of idling until the squelch opens, and behind the end until it closes: median and nine of ten.
void printSquelch(const pskVariant& v, double perSymbol_dB, uint64_t rounds) {
  constexpr double never = 1e9;
  constexpr size_t idling = 400, silence = 1200; // symbols
  constexpr int32_t look = pskBlock;             // as the modem does: an acquisition is counted in blocks
  std::vector<double> opened, closed;
  for (uint64_t round = 1; round <= rounds; round++) {
    sim::randomSource random(round);
    pskChannel c;
    c.idle = idling;
    c.tail = 0;
    const pskSignal s(v, "", c);
    std::vector<double> audio(static_cast<size_t>((s.length_s() + silence / v.baud) * pskRate / look) * look);
    for (size_t k = 0; k < together; k++) addPsk(audio, s, c, frequencyOf(k), 0, random);
    random.addNoise(audio.data(), audio.size(), pskNoise(v, perSymbol_dB));
    eightDetectors d(v);
    std::array<double, together> open, close;
    open.fill(never);
    close.fill(never);
    for (size_t at = 0; at + look <= audio.size(); at += look) {
      d.process(audio.data() + at, look);
      const double symbols = static_cast<double>(at + look) / pskRate * v.baud;
      for (size_t k = 0; k < together; k++) {
        const bool isOpen = d.all[k].quality.squelchOpen;
        if (isOpen && open[k] == never && symbols < idling) open[k] = symbols;
        if (!isOpen && close[k] == never && symbols > idling && open[k] < never) close[k] = symbols - idling;
      }
    }
    opened.insert(opened.end(), open.begin(), open.end());
    closed.insert(closed.end(), close.begin(), close.end());
  }
  std::sort(opened.begin(), opened.end());
  std::sort(closed.begin(), closed.end());
  for (const auto* list : {&opened, &closed}) {
    const char* name = list == &opened ? "opens" : "closes";
    std::printf("%s %s %g %.1f %.1f\n", v.name, name, perSymbol_dB, (*list)[list->size() / 2], (*list)[list->size() * 9 / 10]);
  }
  std::fflush(stdout);
}

// Printable characters a minute of a detector on noise, with its squelch and without.
void printNoise(const pskVariant& v, bool squelch, uint64_t rounds) {
  constexpr double each_s = 30;
  size_t printable = 0;
  for (uint64_t round = 1; round <= rounds; round++) {
    sim::randomSource random(round);
    std::vector<double> audio(static_cast<size_t>(each_s * pskRate / pskBlock) * pskBlock);
    random.addNoise(audio.data(), audio.size(), pskAmplitude);
    for (const std::string& text : readPsk(v, audio, squelch))
      for (const char c : text) printable += c >= ' ' && c < 127;
  }
  print(v, squelch ? "printable" : "printableOpen", 0,
        static_cast<double>(printable) / (static_cast<double>(rounds * together) * each_s / 60));
}

// A strong idling signal that slides away: where it stands when a detector has been lost by a quarter of the baud.
void printReach(const pskVariant& v, double direction) {
  pskChannel c;
  c.perSymbol_dB = 18;
  c.drift_Hz_s = direction * 0.3 * v.baud / 31.25;
  c.idle = static_cast<size_t>(90 / std::abs(c.drift_Hz_s) * v.baud);
  const pskSignal s(v, "", c);
  std::vector<double> audio(static_cast<size_t>(s.length_s() * pskRate / pskBlock) * pskBlock);
  sim::randomSource random(1);
  constexpr size_t k = 3;
  addPsk(audio, s, c, frequencyOf(k), 0, random);
  random.addNoise(audio.data(), audio.size(), pskNoise(v, c.perSymbol_dB));
  eightDetectors d(v);
  double reach = 0;
  for (size_t at = 0; at + pskBlock <= audio.size(); at += pskBlock) {
    d.process(audio.data() + at, pskBlock);
    const double signal = c.drift_Hz_s * static_cast<double>(at + pskBlock) / pskRate;
    if (std::abs(d.all[k].afc.rxFrequency - frequencyOf(k) - signal) > v.baud / 4) break;
    reach = signal;
  }
  print(v, "reach", c.drift_Hz_s, reach);
}

// How many of the stations below and of those above the frequency of their detectors are read from the first character on.
std::array<size_t, 2> acquired(const pskVariant& v, double offset_Hz, double silence_s, uint64_t round) {
  constexpr double strong_dB = 30;
  constexpr size_t characters = 10;
  sim::randomSource random(round);
  pskChannel c;
  c.idle = idleOf(v);
  eightTexts texts;
  std::vector<double> audio;
  for (size_t k = 0; k < together; k++) {
    texts[k] = randomWords(characters, random);
    c.offset_Hz = k % 2 ? offset_Hz : -offset_Hz;
    const pskSignal s(v, texts[k], c);
    const auto length = static_cast<size_t>((silence_s + s.length_s()) * pskRate / pskBlock + 1) * pskBlock;
    audio.resize(std::max(audio.size(), length));
    addPsk(audio, s, c, frequencyOf(k), silence_s + random.uniform() / v.baud, random);
  }
  random.addNoise(audio.data(), audio.size(), pskNoise(v, strong_dB));
  const auto read = readPsk(v, audio);
  std::array<size_t, 2> whole{};
  for (size_t k = 0; k < together; k++) whole[k % 2] += read[k].find(texts[k]) != std::string::npos;
  return whole;
}

// The largest offset, in whole hertz, up to which nine of ten of them are, to either side.
void printAcquired(const pskVariant& v, bool tunedFirst, uint64_t rounds) {
  constexpr double beforeIt_s = 2;
  const auto enough = static_cast<size_t>(std::ceil(0.9 * static_cast<double>(rounds * together / 2)));
  double offset_Hz = 0;
  for (std::array<size_t, 2> whole{enough, enough}; whole[0] >= enough && whole[1] >= enough; offset_Hz++) {
    whole = {};
    for (uint64_t round = 1; round <= rounds; round++) {
      const auto now = acquired(v, offset_Hz + 1, tunedFirst ? beforeIt_s : 0, round);
      for (size_t side = 0; side < 2; side++) whole[side] += now[side];
    }
  }
  print(v, tunedFirst ? "acquiredLater" : "acquired", 0, offset_Hz - 1);
}

} // namespace

int main(int argc, char** argv) {
  const auto seeds = static_cast<uint64_t>(std::max(argc > 1 ? std::atoi(argv[1]) : 16, 1));
  const uint64_t rounds = (seeds + together - 1) / together;
  const bool squelchOnly = argc > 2;
  for (const condition& what : squelchOnly ? std::span<const condition>() : std::span(conditions))
    for (const pskVariant& v : pskVariants)
      for (const double level : what.perSymbol_dB) print(v, what.name, level, errors_percent(v, what, level, rounds));
  for (const pskVariant& v : pskVariants) {
    for (const double level : {10.0, 14.0, 20.0}) printSquelch(v, level, rounds);
    for (const bool squelch : {true, false}) printNoise(v, squelch, rounds);
    for (const double direction : {1.0, -1.0}) printReach(v, direction);
    for (const bool tunedFirst : {false, true}) printAcquired(v, tunedFirst, (rounds + 7) / 8);
  }
}
