#include "sim/transmitRecorder.h"
#include <algorithm>
#include <array>

namespace larch::sim {

void transmitRecorder::add(std::span<const recordedSample> samples) {
  constexpr size_t portion = 1024;
  std::array<float, 2 * portion> interleaved;
  while (!samples.empty()) {
    const size_t count = std::min(samples.size(), portion);
    for (size_t n = 0; n < count; ++n) {
      interleaved[2 * n] = static_cast<float>(samples[n].sample.i / transmitFullScale);
      interleaved[2 * n + 1] = static_cast<float>(sign * samples[n].sample.q / transmitFullScale);
    }
    file.put(std::span(interleaved).first(2 * count));
    samples = samples.subspan(count);
  }
}

} // namespace larch::sim
