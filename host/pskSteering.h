// Which scanning channel of the PSK mode the next signal gets.
#pragma once
#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace larchhost {

// The library serves signals from the loudest down and stops at the first one that has a channel already, unless it has passed a
// free channel before that one in the list. It passes a channel when the channel's `activity` is below the life of the one passed
// before. So the first channel of each speed is kept free: with it passed, nothing stops the pass, and the channel that is to be
// taken next is the only one below it, in `activity`. Those behind it follow if it has been taken within the same pass. Which
// ones are free the host can only tell by what it hears of them: the one that has been quiet longest is the best guess.
class pskSteering {
 public:
  using clock = std::chrono::steady_clock;
  static constexpr size_t speeds = 2, channels = 30; // channels of a speed, one speed behind the other

  // It has been given a signal, or has decoded some text.
  void used(size_t channel, clock::time_point now) {
    if (channel < used_.size()) used_[channel] = now;
  }

  // What the library's `activity` of a channel is to be.
  int32_t activity(size_t channel) const {
    const size_t first = channel / channels * channels;
    if (channel == first) return kept;
    const auto begin = used_.begin() + static_cast<ptrdiff_t>(first);
    const auto quietest = std::min_element(begin + 1, begin + channels) - used_.begin();
    return channel == static_cast<size_t>(quietest) ? next : following;
  }

 private:
  static constexpr int32_t kept = 0, next = -1, following = 50;

  std::array<clock::time_point, speeds * channels> used_{};
};

} // namespace larchhost
