#include "tests/support/pskTestSender.h"

namespace larch::testing_psk {

const char* const asciiVaricode[128] = {
    "1010101011", "1011011011", "1011101101", "1101110111", "1011101011", "1101011111", "1011101111", "1011111101", "1011111111",
    "11101111",   "11101",      "1101101111", "1011011101", "11111",      "1101110101", "1110101011", "1011110111", "1011110101",
    "1110101101", "1110101111", "1101011011", "1101101011", "1101101101", "1101010111", "1101111011", "1101111101", "1110110111",
    "1101010101", "1101011101", "1110111011", "1011111011", "1101111111", "1",          "111111111",  "101011111",  "111110101",
    "111011011",  "1011010101", "1010111011", "101111111",  "11111011",   "11110111",   "101101111",  "111011111",  "1110101",
    "110101",     "1010111",    "110101111",  "10110111",   "10111101",   "11101101",   "11111111",   "101110111",  "101011011",
    "101101011",  "110101101",  "110101011",  "110110111",  "11110101",   "110111101",  "111101101",  "1010101",    "111010111",
    "1010101111", "1010111101", "1111101",    "11101011",   "10101101",   "10110101",   "1110111",    "11011011",   "11111101",
    "101010101",  "1111111",    "111111101",  "101111101",  "11010111",   "10111011",   "11011101",   "10101011",   "11010101",
    "111011101",  "10101111",   "1101111",    "1101101",    "101010111",  "110110101",  "101011101",  "101110101",  "101111011",
    "1010101101", "111110111",  "111101111",  "111111011",  "1010111111", "101101101",  "1011011111", "1011",       "1011111",
    "101111",     "101101",     "11",         "111101",     "1011011",    "101011",     "1101",       "111101011",  "10111111",
    "11011",      "111011",     "1111",       "111",        "111111",     "110111111",  "10101",      "10111",      "101",
    "110111",     "1111011",    "1101011",    "11011111",   "1011101",    "111010101",  "1010110111", "110111011",  "1010110101",
    "1011010111", "1110110101",
};

std::string varicodeBits(uint8_t character) {
  if (character < 128) return asciiVaricode[character];
  // the codes that ASCII leaves free, in order: numbers that are odd and have no two zeros side by side
  const auto free = [](uint32_t n) {
    if (n % 2 == 0) return false;
    std::string bits;
    for (uint32_t rest = n; rest; rest /= 2) bits.insert(bits.begin(), rest % 2 ? '1' : '0');
    if (bits.find("00") != std::string::npos) return false;
    for (const char* used : asciiVaricode)
      if (bits == used) return false;
    return true;
  };
  uint32_t n = 0;
  for (int wanted = character - 127; wanted; wanted -= free(n)) n++;
  std::string bits;
  for (; n; n /= 2) bits.insert(bits.begin(), n % 2 ? '1' : '0');
  return bits;
}

std::vector<int> turnsOf(const pskSignal& signal, const std::string& text, int idle) {
  std::string bits(static_cast<size_t>(idle), '0');
  for (const char c : text) bits += varicodeBits(static_cast<uint8_t>(c)) + "00";
  bits.append(static_cast<size_t>(idle), '0');
  std::vector<int> turns;
  uint32_t encoder = 0;
  for (const char bit : bits) {
    if (!(signal.mode & 1)) {
      turns.push_back(bit == '1' ? 0 : 2);
      continue;
    }
    constexpr uint32_t first = 0b11001, second = 0b10111; // the polynomials
    constexpr int turnOf[2][2] = {{2, 3}, {0, 1}};        // by the parities
    encoder = encoder << 1 | (bit == '1');
    const int turn = turnOf[std::popcount(encoder & first) % 2][std::popcount(encoder & second) % 2];
    turns.push_back(signal.reversed ? (4 - turn) % 4 : turn);
  }
  return turns;
}

std::vector<double> samplesOf(const pskSignal& signal, const std::vector<int>& turns) {
  constexpr double rate = 8000, pi = std::numbers::pi, silence = 0.1;
  std::vector<std::complex<double>> points = {1.0}; // before the first symbol, then behind each
  for (const int turn : turns) points.push_back(points.back() * std::polar(1.0, turn * pi / 2));
  const double symbolRate = signal.baud() * (1 + signal.clockError_ppm * 1e-6);
  const double length = signal.start + static_cast<double>(turns.size()) / symbolRate + silence;
  std::mt19937 random(signal.seed);
  std::normal_distribution<double> normal(0, 1);
  std::vector<double> samples;
  for (int n = 0; n < length * rate; n++) {
    const double t = n / rate, position = (t - signal.start) * symbolRate;
    std::complex<double> point = 0;
    if (position >= 0 && position < static_cast<double>(turns.size())) {
      const auto k = static_cast<size_t>(position);
      const double shape = (1 - std::cos(pi * (position - static_cast<double>(k)))) / 2;
      point = points[k] + (points[k + 1] - points[k]) * shape;
    }
    const double phase = 2 * pi * (signal.frequency * t + signal.drift * t * t / 2);
    samples.push_back(signal.amplitude * (point * std::polar(1.0, phase)).real() + signal.noise * normal(random));
  }
  return samples;
}

} // namespace larch::testing_psk
