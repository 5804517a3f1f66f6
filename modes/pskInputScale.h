// Brings the audio of a PSK band to full scale by its peak.
#pragma once
#include <cmath>

namespace larch {

// rt.
struct pskInputScale {
  // Decays to the smallest denormal and stays there: it never becomes 0 as long as nobody switches denormals off.
  double inputPeak = 1.0;

  // The sample on a scale of 30000. What isn't finite, or is beyond any signal, counts as 0.
  double scaled(double sample) {
    constexpr double decay = 0.999, fullScale = 30000.0, largest = 1e100;
    const double r = std::abs(sample) <= largest ? sample : 0;
    inputPeak *= decay;
    if (std::abs(r) > inputPeak) inputPeak = std::abs(r);
    return r * fullScale / inputPeak;
  }
};

} // namespace larch
