// Where a converter that samples at `clock` shows a real signal of any frequency.
#pragma once
#include <array>
#include <cstddef>

namespace larch::sim {

// One place between -clock/2 and clock where the sampled signal has energy.
struct foldedImage {
  double frequency_Hz = 0; // of the image
  bool mirrored = false;   // the image's spectrum is turned round: upper sideband looks like lower
};

struct foldedImages {
  std::array<foldedImage, 3> image; // [0] is the one in the first Nyquist zone, 0 to clock/2
  size_t count = 0;
};

// A real signal at f is the sum of spectra at +f and -f; sampling repeats both every `clock`. Of these repetitions the one
// in [0, clock/2] is what a receiver is tuned to: f itself in the first zone, clock - f mirrored in the second, and so on.
// The other two are its neighbours across 0 and across clock/2, which a receiver close to these edges sees beside it.
foldedImages foldIntoBand(double frequency_Hz, double clock_Hz);

// The other way: the frequency in Nyquist zone `zone` (0 is the first) whose alias in the first zone is given.
double unfolded(double alias_Hz, int zone, double clock_Hz);

} // namespace larch::sim
