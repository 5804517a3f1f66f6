#include "transceiver/noiseStage.h"
#include <algorithm>

namespace larch {
namespace {

constexpr float networkScale = 32000.0f, audioScale = 3.125e-05f; // the network works at 16-bit full scale

} // namespace

void noiseStage::process(const buff<float>& audio, double strength_percent) {
  if (!network_) {
    network_ = std::make_unique<noiseReducer>();
    passing_ = buff<float>(frame, 0.0f);
  }
  if (audio.count != frame) return passThrough(audio);
  for (uint64_t i = 0; i < frame; i++) audio.data[i] *= networkScale;
  network_->process(audio.data, audio.data, static_cast<float>(strength_percent));
  for (uint64_t i = 0; i < frame; i++) audio.data[i] *= audioScale;
}

// required: blocks of another length only take the way through the frame, as a delay; the network has no part in it. Once in a
// frame a block is lost where the frame is used up.
void noiseStage::passThrough(const buff<float>& audio) {
  audio.copyTo(0, audio.count, passing_, passed_);
  passed_ += audio.count;
  if (passed_ > frame) passed_ = 0;
  const uint64_t there = std::min(audio.count, frame - passed_);
  std::copy_n(passing_.data + passed_, there, audio.data);
  std::fill(audio.data + there, audio.data + audio.count, 0.0f);
}

} // namespace larch
