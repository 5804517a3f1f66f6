// Finished samples as a WAV file for the decoders of the timed-slot modes.
#pragma once
#include "dsp/buff.h"
#include <string>

namespace larch {

// Mono, 12000 samples/s, 16 bits: each sample times scale, in single precision and towards zero. required: what is out of 16
// bits wraps; what is out of 64 bits, or no number, is 0. Truncates a file that is there. What can't be written is lost without
// a word. Not rt: runs on a thread that may wait for a disk.
void writeWav(std::string path, buff<float> samples, float scale);

} // namespace larch
