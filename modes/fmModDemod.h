// Frequency modulation for speech, narrow or wide, with a CTCSS tone if wanted.
#pragma once
#include "dsp/fftConvolver.h"
#include "dsp/oscillator.h"
#include "modes/modDemod.h"
#include "modes/speechChain.h"

namespace larch {

// Receive: a discriminator at the channel's rate, summed to 48 kHz, and an audio filter that falls by 6 dB an octave. The audio's
// level is radians a 48 kHz sample. Transmit: the speech chain with a rising microphone filter, a third filter, the tone, the
// phase. Always at 48 kHz.
class fmModDemod : public modDemod {
 public:
  explicit fmModDemod(std::shared_ptr<syncTask> group); // not rt: designs its filters

  // 512 samples at 48000 Hz, or 64 from a block at 384000 Hz; rt
  buff<float> demodulate(const cbuff& block) override;
  // 512 samples each; always 0.99 in magnitude; rt but after a change of the equaliser
  void modulate(const cbuff& input, const cbuff& output) override;
  // A wide signal has to reach the discriminator whole. Transceiver's group; a new deviation counts from the next chunk on.
  int32_t sampleRate() override { return narrowLimit_Hz > deviation.get() ? narrowRate : wideRate; }

  property<double> compression{1.0};       // speech drive: twice this value goes into the clipper
  property<double> deviation{75000.0};     // Hz, peak; from 12000 Hz on the channel is wide
  property<double> CTCSS{0.0};             // Hz; 0 or less: no tone
  property<double> MaxDeviation{100000.0}; // Hz; kept and reported for the host

 private:
  static constexpr double narrowLimit_Hz = 12000.0;
  static constexpr int32_t narrowRate = 48000, wideRate = 384000; // Hz

  void followEqualiser();
  bool addTone(); // to the output of shapeFilter_; false: none is wanted

  std::complex<double> previous_ = 0;       // last sample of the discriminator, which doesn't see its magnitude
  buff<double> turns_{fftConvolver::block}; // radians, one for each sample of a block
  fftConvolver receiveFilter_;              // 1024 taps
  speechChain speech_;
  fftConvolver shapeFilter_; // 1536 taps, behind the limiter
  oscillator tone_{48000.0};
  double txPhase_ = 0;     // radians
  int32_t eqVersion_ = -1; // of the equaliser's curve in the microphone filter
};

} // namespace larch
