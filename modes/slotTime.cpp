#include "modes/slotTime.h"
#include <chrono>
#include <fmt/format.h>

namespace larch {
namespace {

using halfSeconds = std::chrono::duration<int64_t, std::ratio<1, 2>>;
constexpr int32_t minute_ms = 60000;

} // namespace

int64_t halfSecondOf(int64_t utc_ns) { return std::chrono::floor<halfSeconds>(std::chrono::nanoseconds(utc_ns)).count(); }

bool beginsSlotAt(int64_t halfSecond, int32_t period_ms) {
  if (period_ms < halfSecond_ms) return false;
  const halfSeconds now(halfSecond);
  const int64_t inHour = (now - std::chrono::floor<std::chrono::hours>(now)).count();
  return inHour % (period_ms / halfSecond_ms) == 0;
}

std::string slotFileName(int64_t halfSecond, int32_t period_ms, bool c2) {
  using namespace std::chrono;
  const sys_time<halfSeconds> now{halfSeconds(halfSecond)};
  const auto midnight = floor<days>(now);
  const year_month_day day(midnight);
  const hh_mm_ss time(floor<seconds>(now - midnight));
  const std::string upToMinutes =
      fmt::format("{:02}{:02}{:02}_{:02}{:02}", static_cast<int>(day.year()) % 100, static_cast<unsigned>(day.month()),
                  static_cast<unsigned>(day.day()), time.hours().count(), time.minutes().count());
  if (c2) return upToMinutes + ".c2";
  if (period_ms >= minute_ms) return upToMinutes + ".wav";
  return upToMinutes + fmt::format("{:02}.wav", time.seconds().count());
}

} // namespace larch
