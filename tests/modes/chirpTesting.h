// Words on chirps from a generator of its own: one chirp begins every 256 samples and lies over fifteen others.
#pragma once
#include "modes/chirpyModDemod.h"
#include "sim/randomSource.h"
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <vector>

namespace larch::test {

constexpr int chirpSamples = 4096, chirpSpacing = 256, chirpHalf = chirpSpacing * 8, chirpWordBits = 23;

// Sample k of a chirp from 0 to 3000 Hz, mirrored as all signals here are; the phase in closed form.
inline std::complex<double> chirpAt(bool up, int k) {
  const double n = up ? k : (k + chirpHalf) % chirpSamples;
  return std::polar(1.0, -std::numbers::pi * 3000.0 / 4096.0 / 48000.0 * n * (n + 1));
}

inline std::vector<bool> chirpBits(const std::vector<uint32_t>& words) {
  std::vector<bool> bits;
  for (const uint32_t data : words) {
    const uint32_t onAir = ((golayEncode(data) ^ 0x7AFAFA) + 101) % (1u << chirpWordBits);
    for (int i = chirpWordBits - 1; i >= 0; i--) bits.push_back(onAir >> i & 1);
  }
  return bits;
}

// A half of each chirp is a half of the other kind eight bits away: three equal bits at that distance are a draw.
inline int chirpDraws(const std::vector<bool>& bits, int from, int to) {
  int draws = 0;
  for (int k = from; k < to; k++)
    if (k >= 8 && k + 8 < static_cast<int>(bits.size())) draws += bits[k - 8] == bits[k] && bits[k] == bits[k + 8];
  return draws;
}

// Random words, or such as have few draws: of some that would do, each time the one that makes the fewest.
inline std::vector<uint32_t> chirpMessage(size_t words, bool fewDraws, sim::randomSource& random) {
  std::vector<uint32_t> message;
  while (message.size() < words) {
    const auto tries = fewDraws ? 3000 : 1;
    uint32_t best = 0;
    for (int t = 0, fewest = chirpWordBits + 1; t < tries; t++) {
      const auto data = static_cast<uint32_t>(random.below(4096));
      std::vector<uint32_t> tail{data};
      if (!message.empty()) tail.insert(tail.begin(), message.back());
      const auto bits = chirpBits(tail);
      if (const int draws = chirpDraws(bits, 0, static_cast<int>(bits.size())); draws < fewest) {
        fewest = draws;
        best = data;
      }
    }
    message.push_back(best);
  }
  return message;
}

// `lead` samples of nothing before the first chirp and a whole number of blocks of 512 in all; each chirp has a level of 1.
inline std::vector<std::complex<double>> chirpSignal(const std::vector<bool>& bits, int lead, double carrierPhase) {
  std::vector<std::complex<double>> chirps[2];
  for (const bool up : {false, true})
    for (int k = 0; k < chirpSamples; k++) chirps[up].push_back(chirpAt(up, k) * std::polar(1.0, carrierPhase));
  const size_t end = lead + (bits.size() + 15) * chirpSpacing;
  std::vector<std::complex<double>> samples((end + 511) / 512 * 512);
  for (size_t b = 0; b < bits.size(); b++)
    for (int k = 0; k < chirpSamples; k++) samples[lead + b * chirpSpacing + k] += chirps[bits[b]][k];
  return samples;
}

// Noise for so many dB of a bit's energy over the noise's density; a chirp of level 1 has an energy of 4096 samples.
inline void addChirpNoise(std::vector<std::complex<double>>& samples, double ebN0_dB, sim::randomSource& random) {
  const double density = chirpSamples / std::pow(10.0, ebN0_dB / 10);
  random.addNoise(samples.data(), samples.size(), std::sqrt(density / 2));
}

// Where words of a signal are to be found whose first chirp begins at `lead`.
struct chirpAlignment {
  int slot, phase;
};
inline chirpAlignment expectedAlignment(int lead) {
  const int lastSample = lead + (chirpWordBits - 1) * chirpSpacing + chirpSamples - 1; // of the first word: its filter peaks here
  return {lastSample % chirpSpacing, (chirpWordBits - (lastSample / chirpSpacing + 1) % chirpWordBits) % chirpWordBits};
}

// Samples between the ends of the words of two alignments.
inline int chirpDistance(chirpAlignment a, chirpAlignment b) {
  constexpr int round = chirpSpacing * chirpWordBits;
  const int apart = ((a.slot - b.slot - chirpSpacing * (a.phase - b.phase)) % round + round) % round;
  return std::min(apart, round - apart);
}

// What a receiver does that knows nothing: the best score of all, and of equal ones the strongest slot.
inline chirpAlignment foundAlignment(const chirpyModDemod& mode) {
  chirpAlignment best{0, 0};
  double score = 1e9, level = 0;
  for (int s = 0; s < chirpSpacing; s++)
    for (const chirpWord& w : mode.slot(s).words) {
      const double here = mode.slot(s).upLevel + mode.slot(s).downLevel;
      if (w.score > score || (w.score == score && here <= level)) continue;
      best = {s, w.phase};
      score = w.score;
      level = here;
    }
  return best;
}

} // namespace larch::test
