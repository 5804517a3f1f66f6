// The messages of the MultiPSK link as bytes: what a client asks for, and what it is sent.
#pragma once
#include "dsp/buff.h"

namespace larch {

// Every message on the wire is a little-endian uint32 with the length of what follows, and that: eight letters and a payload.

struct multiPskRequest {
  enum class kind { none, version, capability, start, tune, stop };
  kind wanted = kind::none; // none: an acknowledgement, or nothing that is known
  int32_t frequency = 0;    // Hz, of start and tune
};

// A message without its length word.
multiPskRequest multiPskRequestOf(const buff<char>& message);

// With their length words.
buff<char> multiPskVersion();
buff<char> multiPskCapability();
buff<char> multiPskTune(int32_t frequency); // Hz
bool multiPskIsTune(const buff<char>& message);

// Gain for the samples to the client that begins at `multiPskFirstGain` and only falls, so that no imaginary part exceeds 32000.
// required: the real part isn't tested, so that it may wrap.
constexpr double multiPskFirstGain = 20000000.0;
double multiPskHeldGain(const cbuff& block, double gain); // after a block
// A block as one message, each sample as int16 imaginary and int16 real part; `gain` falls with it. rt once the pool is warm.
buff<char> multiPskSamples(const cbuff& block, double& gain);

} // namespace larch
