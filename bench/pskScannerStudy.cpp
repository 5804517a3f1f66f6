// How soon the scanner of the PSK mode gives each of many stations a detector: pskScannerStudy [seeds a row [steered]].
// Steered: as `larch psk` does it by the channels' activity.
#include "host/pskSteering.h"
#include "tests/modes/pskCrowd.h"
#include <cstdio>
#include <cstdlib>

using namespace larch;
using namespace larch::test;

namespace {

struct row {
  const char* name;
  crowdPlan plan;
};

crowdPlan planOf(size_t slots, double spacing, double low_dB, double high_dB, bool fastOnes) {
  crowdPlan p;
  p.slots = slots;
  p.spacing = spacing;
  p.low_dB = low_dB;
  p.high_dB = high_dB;
  p.fastOnes = fastOnes;
  return p;
}

// Of the visits, not of those that were measured: who is never found counts as infinitely late.
double quantile(std::vector<double> sorted, double share) {
  return sorted[std::min(sorted.size() - 1, static_cast<size_t>(share * static_cast<double>(sorted.size())))];
}

void printTimes(const std::vector<crowdVisit>& visits, std::optional<double> crowdVisit::*time, bool opening) {
  constexpr double never = 1e9;
  std::vector<double> times;
  for (const crowdVisit& v : visits)
    if ((v.from_s == 0) == opening) times.push_back((v.*time).value_or(never));
  std::sort(times.begin(), times.end());
  const auto got = std::count_if(times.begin(), times.end(), [](double t) { return t < never; });
  std::printf(" %.1f %%", 100 * static_cast<double>(got) / static_cast<double>(times.size()));
  for (const double share : {0.5, 0.9, 0.99}) {
    const double t = quantile(times, share);
    t < never ? std::printf(", %.1f", t) : std::printf(", -");
  }
  std::printf(" |");
}

// The host hears by its polls what happened in the block before.
std::function<int32_t(size_t)> steering() {
  struct state {
    larchhost::pskSteering rule;
    larchhost::pskSteering::clock::time_point now;
  };
  return [s = std::make_shared<state>()](size_t channel) {
    if (channel == 0) s->now += std::chrono::milliseconds(64);
    for (size_t i = 0; channel == 0 && i < crowdListener::used.size(); i++)
      if (std::exchange(crowdListener::used[i], false)) s->rule.used(i, s->now);
    return s->rule.activity(channel);
  };
}

void printRow(const row& r, uint64_t seeds, bool steered) {
  std::vector<crowdVisit> visits;
  std::array<int, 2> most{};
  double moves = 0;
  for (uint64_t seed = 1; seed <= seeds; seed++) {
    auto some = crowdVisits(r.plan, seed);
    crowdListener listener(steered ? steering() : nullptr);
    listener.hear(r.plan, some, seed + 1000);
    for (size_t set = 0; set < 2; set++) most[set] = std::max(most[set], listener.most[set]);
    moves += listener.all[0] + listener.all[1];
    // who comes too late to be judged doesn't count
    std::copy_if(some.begin(), some.end(), std::back_inserter(visits),
                 [&](const crowdVisit& v) { return std::min(v.to_s, r.plan.length_s) - v.from_s >= r.plan.stay_s / 2; });
  }
  std::printf("| %s%s |", r.name, steered ? ", steered" : "");
  printTimes(visits, &crowdVisit::found, true);
  printTimes(visits, &crowdVisit::found, false);
  printTimes(visits, &crowdVisit::read, true);
  printTimes(visits, &crowdVisit::read, false);
  std::printf(" %d, %d | %.0f |\n", most[0], most[1], moves / static_cast<double>(seeds) / r.plan.length_s * 60);
  std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
  const auto seeds = static_cast<uint64_t>(std::max(argc > 1 ? std::atoi(argv[1]) : 4, 1));
  const row rows[] = {
      {"24 PSK31, 20 dB", planOf(24, 115, 20, 20, false)},
      {"24, both speeds in turn, 20 dB", planOf(24, 115, 20, 20, true)},
      {"24, both speeds, 0 to 40 dB", planOf(24, 115, 0, 40, true)},
      {"24 PSK31, 5 dB", planOf(24, 115, 5, 5, false)},
      {"24 PSK31, 0 dB", planOf(24, 115, 0, 0, false)},
      {"12, both speeds, 0 to 40 dB", planOf(12, 230, 0, 40, true)},
      {"4, both speeds, 0 to 40 dB", planOf(4, 690, 0, 40, true)},
  };
  std::printf("| stations | detector, at the start | detector, later ones | read, at the start | read, later ones "
              "| most moves a pass | moves a minute |\n|---|---|---|---|---|---|---|\n");
  for (const row& r : rows) printRow(r, seeds, argc > 2);
}
