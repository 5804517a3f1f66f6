#include "modes/chirpyModDemod.h"
#include <algorithm>
#include <cmath>
#include <limits>

namespace larch {
namespace {

constexpr auto length = static_cast<uint64_t>(chirpyModDemod::chirpLength);
constexpr double shortPi = 3.1415927; // as in the other digital modes
constexpr double samplePeriod_s = 1.0 / 48000, level = 0.97;

cbuff makeUpChirp() {
  cbuff chirp(length);
  double phase = 0;
  for (uint64_t k = 0; k < length; k++) {
    phase += 2 * shortPi * (static_cast<double>(k) * chirpyModDemod::chirpTop / chirpyModDemod::chirpLength) * samplePeriod_s;
    if (phase > 2 * shortPi) phase -= 2 * shortPi;
    chirp.data[k] = {level * std::cos(phase), -level * std::sin(phase)};
  }
  return chirp;
}

cbuff rotatedByHalf(const cbuff& chirp) {
  cbuff rotated(length);
  std::rotate_copy(chirp.data, chirp.data + length / 2, chirp.data + length, rotated.data);
  return rotated;
}

cbuff matchedTo(const cbuff& chirp) {
  cbuff taps(length);
  for (uint64_t k = 0; k < length; k++) taps.data[k] = std::conj(chirp.data[length - 1 - k]);
  return taps;
}

// What is no finite number would stay in the smoothed levels for ever.
double magnitude(std::complex<double> x) {
  const double m = std::sqrt(x.real() * x.real() + x.imag() * x.imag());
  return m <= std::numeric_limits<double>::max() ? m : 0.0;
}

} // namespace

chirpyModDemod::chirpyModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)), upChirp_(makeUpChirp()), downChirp_(rotatedByHalf(upChirp_)), upFilter_(matchedTo(upChirp_)),
      downFilter_(matchedTo(downChirp_)) {
  golayErrors(0); // makes the tables
}

buff<float> chirpyModDemod::demodulate(const cbuff& block) {
  for (uint64_t i = 0; i < block.count; i++) {
    upFilter_.input.data[gathered_] = block.data[i];
    downFilter_.input.data[gathered_] = block.data[i];
    if (++gathered_ < fftConvolver::block) continue;
    gathered_ = 0;
    upFilter_.process();
    downFilter_.process();
    for (uint64_t k = 0; k < fftConvolver::block; k++)
      look(magnitude(upFilter_.output.data[k]), magnitude(downFilter_.output.data[k]));
  }
  return {};
}

void chirpyModDemod::look(double up, double down) {
  const chirpWord& word = slots_[slotIndex_].add(up, down);
  if (newWord) newWord(static_cast<int32_t>(slotIndex_), word);
  if (++slotIndex_ == slotCount) {
    slotIndex_ = 0;
    if (transmitted_ && blocksAfterTransmit_ < captureAfter) blocksAfterTransmit_++;
  }
  if (blocksAfterTransmit_ >= captureAfter) capture_.add(up, down, up - down);
}

void chirpyModDemod::modulate(const cbuff& input, const cbuff& output) {
  static_cast<void>(input);
  transmitted_ = true;
  for (uint64_t i = 0; i < output.count; i++) {
    output.data[i] = (sendDown_ ? downChirp_ : upChirp_).data[sweepPosition_];
    if (++sweepPosition_ < length) continue;
    sendDown_ = !sendDown_;
    sweepPosition_ = 0;
  }
}

} // namespace larch
