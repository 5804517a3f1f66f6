#include "transceiver/transmitChain.h"
#include "dsp/filterDesign.h"
#include "dsp/vectorOps.h"
#include <algorithm>

namespace larch {
namespace {

constexpr double firstLow = -3000, firstHigh = 6000; // Hz: the filter until the host sets one
constexpr int32_t transmitRate = 48000;
constexpr double tuneLevel = 0.99;

} // namespace

transmitChain::transmitChain() : filter_(makeBandpass(firstLow, firstHigh, transmitRate, filterTaps, filterTaps)) {
  filter_.reset();
}

void transmitChain::keyDown(const modDemod* mode) {
  envelope_.rise(!mode || mode->blockedTx);
  filter_.reset();
  txRead_ = fftConvolver::block;
}

void transmitChain::keyUp(const modDemod* mode) { envelope_.fall(mode ? mode->txTailSamples : 0); }

cbuff transmitChain::produce(modDemod* mode, bool tune, const microphone& read) {
  cbuff out(groupSamples, 0.0); // a mode that writes nothing sends silence
  if (mode) {
    if (tune || !mode->blockedTx)
      produceDirect(*mode, tune, read, out);
    else
      produceBlocked(*mode, read, out);
  }
  envelope_.apply(out);
  return out;
}

void transmitChain::produceDirect(modDemod& mode, bool tune, const microphone& read, const cbuff& out) {
  const cbuff input = readMicrophone(groupSamples, read); // also while tuning: the stream keeps moving
  if (tune)
    std::fill_n(out.data, out.count, tuneLevel);
  else
    mode.modulate(input, out);
}

void transmitChain::produceBlocked(modDemod& mode, const microphone& read, const cbuff& out) {
  for (uint64_t done = 0; done < groupSamples;) {
    if (txRead_ == fftConvolver::block) {
      std::fill_n(filter_.input.data, filter_.input.count, 0.0);
      mode.modulate(readMicrophone(fftConvolver::block, read), filter_.input);
      if (mode.useTxFilter) filter_.process();
      txRead_ = 0;
    }
    const uint64_t n = std::min(fftConvolver::block - txRead_, groupSamples - done);
    (mode.useTxFilter ? filter_.output : filter_.input).copyTo(txRead_, n, out, done);
    done += n;
    txRead_ += n;
  }
}

cbuff transmitChain::readMicrophone(uint64_t count, const microphone& read) {
  const buff<float> mic(count);
  delay_.fill(mic, read);
  return complexFromAudio(mic);
}

} // namespace larch
