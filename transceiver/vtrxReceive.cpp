// The receive chain of vtrx: one task for each chunk.
#include "transceiver/chainConstants.h"
#include "transceiver/vtrx.h"

namespace larch {

void vtrx::processRxChunk(cbuff chunk, int32_t centre, int32_t rate, buff<double> wideband, double widebandNyquist, int32_t adc) {
  if (!started_) return;
  const auto joined = joiner_.gather(chunk, adc, ADCs.value, {ADC1Gain.value, ADC1Phase.value});
  if (!joined) return;
  const modeTurn turn(mode_.get());
  if (!turn.mode()) return;
  const int32_t wanted = mode_->sampleRate();
  const int32_t ratio = wanted > 0 ? rate / wanted : 0;
  const spectrumInput forSpectrum{*joined, centre, rate, std::move(wideband), widebandNyquist};
  bandwidthSufficient.write(ratio >= 1);
  if (ratio < 1) return paintSpectrum(forSpectrum); // too narrow for the mode: no audio
  channel_.process(*joined, mixerStep(centre, vfo.value, rate), ratio, [this](const cbuff& block) { receiveBlock(block); });
  paintSpectrum(forSpectrum);
  decideVox(joined->count, rate);
}

void vtrx::receiveBlock(const cbuff& block) {
  if (const auto report = meter_.measure(block, micIn.level())) {
    signalStrength.write(report->signalStrength_dB);
    micLevel.write(report->micLevel);
  }
  const buff<float> audio = mode_->demodulate(block);
  if (audio.count == 0) return; // a mode may swallow a block
  const gainSwitch::controls controls{rxagc.value.get(), txagc.value.get(), static_cast<float>(signalStrength.value)};
  // receive goes on while transmitting, as a monitor
  audioOut.write(ptt.value ? gain_.transmitting(audio, controls) : gain_.receiving(audio, controls, *mode_), useResampler.value);
}

void vtrx::decideVox(uint64_t chunkSamples, int32_t rate) {
  if (!foregroundDisplay.value || !useVox.value) return;
  const double elapsed_s = static_cast<double>(chunkSamples) / rate;
  const bool keyed = vox_.decide(ptt.value, micIn.level(), {VoxThreshold.value, VoxHold.value}, elapsed_s);
  if (keyed != ptt.value) ptt.write(keyed);
}

void vtrx::paintSpectrum(const spectrumInput& in) {
  painter_.process(
      in, {specZoom.value, waterfallSpeed.value, foregroundDisplay.value, specFreq.value},
      [this](buff<float> frame, double low, double high, int32_t rate) { postFrame(std::move(frame), low, high, rate); });
}

// The task keeps the frame until the host's poll, which makes the host's handle; lost or refused, the frame goes with it.
void vtrx::postFrame(buff<float> frame, double low, double high, int32_t rate) {
  queueRender([this, frame = std::move(frame), low, high, rate] {
    const std::function<void(buff<float>*, double, double, int32_t)> host = loadWord(newSpectrum);
    host(host ? new buff<float>(frame) : nullptr, low, high, rate);
  });
}

} // namespace larch
