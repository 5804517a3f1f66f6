// Sends text as PSK, written apart from the modem: the code from its polynomials, the Varicode as written in bits, the waveform
// from continuous time.
#pragma once
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace larch::testing_psk {

// Characters 0 to 127 as bits, typed from the description of PSK31; those above by counting: see varicodeBits.
extern const char* const asciiVaricode[128];
std::string varicodeBits(uint8_t character);

struct pskSignal {
  int32_t mode = 0; // 1: QPSK, 8: 62.5 baud, 16: 125 baud
  double frequency = 1500;
  double drift = 0;          // Hz per second
  double clockError_ppm = 0; // of the symbols; positive: the sender is fast
  double amplitude = 10000;
  double noise = 0;      // standard deviation of a sample
  double start = 0.0137; // seconds to the first symbol
  uint32_t seed = 1;
  bool reversed = false; // the sense of rotation turned round

  double baud() const { return mode & 16 ? 125 : mode & 8 ? 62.5 : 31.25; }
  // Of a symbol against the noise in one hertz.
  void setNoise(double perSymbol_dB) {
    noise = std::sqrt(amplitude * amplitude / 2 / baud() * 8000 / 2 / std::pow(10.0, perSymbol_dB / 10));
  }
};

// Quarter turns, 0 to 3, of each symbol: `idle` zeros before and behind the text.
std::vector<int> turnsOf(const pskSignal& signal, const std::string& text, int idle = 96);

// All turns as samples at 8000 per second, and a little silence behind.
std::vector<double> samplesOf(const pskSignal& signal, const std::vector<int>& turns);

} // namespace larch::testing_psk
