#include "dsp/audioInterpolator.h"
#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>

namespace larch {
namespace {

using frameWord [[gnu::may_alias]] = uint64_t;

void storeFrame(float* frame, float sample) {
  const uint64_t half = std::bit_cast<uint32_t>(sample);
  // relaxed: one frame needs no order against another
  __atomic_store_n(reinterpret_cast<frameWord*>(frame), half << 32 | half, __ATOMIC_RELAXED);
}

// position modulo length, 0 included and length not; both finite, length above 0.
double broughtIn(double position, double length) {
  if (position >= 0 && position < length) return position;
  double p = std::fmod(position, length);
  if (p < 0) p += length;
  return p < length ? p : 0; // a hair below 0 rounds to the length itself
}

} // namespace

uint64_t interpolateToStereoRing(interpolatorState& state, const buff<float>& audio, const buff<float>& ring, uint64_t ringFrame,
                                 double ratio) {
  const double step = 1 / ratio, count = static_cast<double>(audio.count);
  const uint64_t ringFrames = ring.count / 2;
  if (!(step > 0) || !std::isfinite(step) || audio.count == 0 || ringFrames == 0) return 0;
  double at = std::isfinite(state.position) ? std::max(state.position, -1.0) : 0;
  uint64_t frame = ringFrame % ringFrames, written = 0;
  for (double whole = std::floor(at); whole + 1 < count && written < ringFrames; whole = std::floor(at)) {
    const auto i = static_cast<int64_t>(whole);
    const double a = i < 0 ? state.lastSample : static_cast<double>(audio.data[i]), b = audio.data[i + 1];
    const double fraction = at - whole;
    storeFrame(ring.data + 2 * frame, static_cast<float>((1 - fraction) * a + fraction * b));
    if (++frame == ringFrames) frame = 0;
    written++;
    at += step;
  }
  state.position = at - count;
  state.lastSample = audio.data[audio.count - 1];
  return written;
}

void interpolateFromRing(double& position, const buff<float>& ring, const buff<float>& output, double ratio) {
  const double step = 1 / ratio, length = static_cast<double>(ring.count);
  if (!std::isfinite(step) || !std::isfinite(position) || ring.count == 0) {
    std::fill_n(output.data, output.count, 0.0f);
    return;
  }
  // relaxed: the writer is elsewhere in the ring, or the reader has lost its place and any sound will do
  auto sample = [&](uint64_t i) { return static_cast<double>(std::atomic_ref(ring.data[i]).load(std::memory_order_relaxed)); };
  double at = broughtIn(position, length);
  for (uint64_t k = 0; k < output.count; k++) {
    const auto i = static_cast<uint64_t>(at); // not negative: the floor
    const double fraction = at - static_cast<double>(i);
    output.data[k] = static_cast<float>((1 - fraction) * sample(i) + fraction * sample(i + 1 == ring.count ? 0 : i + 1));
    at = broughtIn(at + step, length);
  }
  position = at;
}

} // namespace larch
