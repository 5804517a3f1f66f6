// Gain control of audio blocks: fixed gain, squelch gate, or a gain that follows the peaks.
#pragma once
#include "dsp/buff.h"

namespace larch {

struct gainParameters {
  float attack_s = 0.01f;   // time constant while the gain falls; 0: at once
  float decay_s = 0.2f;     // time constant while the gain rises
  float hang_s = 2.0f;      // the gain holds this long after its last fall
  float maxGain_dB = 80.0f; // upper limit of the following gain
  float volume = 1.0f;      // linear factor behind the gain
  float squelch = -180.0f;  // on the scale of signalStrength; -180.0 or less: no gate
  double manualGain = 1.0;  // power of ten of the fixed gain
  bool enabled = true;      // false: the fixed gain
};

struct gainState {
  int64_t hangCount = 0;   // samples of hang left
  double gain = 200.0;     // linear; above any usual target, so that the first loud block pulls it down
  bool fixedAtMax = false; // true: the gain is the limit, and nothing is measured
};

// One block in place; returns a view of the same samples. Times count 48000 samples a second whatever the true rate. holdover:
// the block isn't measured and gets the gain as it is. applyVolume false: 1.0 stands for the volume. Any parameter and any sample
// may be anything, NaN included: where the gain would become NaN it keeps its value. rt.
buff<float> processGain(const gainParameters& parameters, gainState& state, const buff<float>& audio, bool holdover,
                        bool applyVolume, float signalStrength);

} // namespace larch
