#include "sim/simPlay.h"
#include <ctime>
#include <fmt/format.h>
#include "sim/sceneReader.h"

namespace larch::sim {

namespace {
double monotonic_s() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}
} // namespace

void watchRadio(const simSettings& s, const sigset_t& ends, const simChores& chores) {
  constexpr long step_ns = 50000000;
  const double begin = monotonic_s();
  double nextLine = 1;
  bool silent = false;
  for (;;) {
    const timespec step{0, step_ns};
    if (sigtimedwait(&ends, nullptr, &step) > 0) return;
    if (chores.often) chores.often();
    const double now = monotonic_s() - begin;
    if (s.seconds > 0 && now >= s.seconds) return;
    if (s.silence.size() == 2) {
      const bool wanted = now >= s.silence[0] && now < s.silence[0] + s.silence[1];
      if (wanted != silent) chores.setSilent(silent = wanted);
    }
    if (now < nextLine) continue;
    nextLine += 1;
    chores.eachSecond(now);
  }
}

std::shared_ptr<bandScene> sceneToPlay(const simSettings& s) {
  std::shared_ptr<bandScene> scene = makeScene(s.scene);
  if (s.noiseGiven) scene->setNoise(s.noise_dBFS);
  if (s.verbose)
    for (const auto& signal : scene->current()->signals) fmt::print("{}\n", signal->describe());
  return scene;
}

void printLatest(const problemLog& problems) {
  constexpr size_t shown = 10;
  const auto& latest = problems.latest();
  for (size_t i = latest.size() > shown ? latest.size() - shown : 0; i < latest.size(); ++i) fmt::print("  {}\n", latest[i]);
}

} // namespace larch::sim
