// Linear interpolation of audio between two sample clocks, into and out of the rings of the sound card side.
#pragma once
#include "dsp/buff.h"

namespace larch {

// Where the writing form stands between two blocks.
struct interpolatorState {
  double position = 0;   // in samples of the next block; -1 to 0 is the gap behind the last one
  double lastSample = 0; // the previous block's end
};

// Writes each interpolated sample to both channels of a stereo ring (interleaved, an even count of floats, not a slice with an
// odd start) from frame `ringFrame` on, wrapping at its end. `ratio`: samples out for each sample in. Returns the number of
// frames written, at most one ring; what would be more is lost. A frame is stored as one relaxed 64-bit value, since a sound
// card's callback may take it at any time and needs no order among frames, only whole ones. A ratio that gives no finite step
// forward writes nothing and leaves the state. rt.
uint64_t interpolateToStereoRing(interpolatorState& state, const buff<float>& audio, const buff<float>& ring, uint64_t ringFrame,
                                 double ratio);

// Fills `output` from a mono ring that a callback may be writing elsewhere (relaxed loads: any two neighbours will do).
// `position`, in samples, is brought into the ring first and left behind the last step, 1 / ratio for each output sample. Without
// a finite position and step, or without a ring, the output is silence and position stays. rt.
void interpolateFromRing(double& position, const buff<float>& ring, const buff<float>& output, double ratio);

} // namespace larch
