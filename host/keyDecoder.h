// Keys of a terminal out of its bytes: what an arrow key sends may come in pieces.
#pragma once
#include <chrono>
#include <string>
#include <string_view>

namespace larchhost {

enum class key { none, left, right, up, down, escape, other };

struct keyPress {
  key code = key::none;
  char character = 0; // for key::other
};

// An ESC with nothing behind it for `escapePause` is the key of that name, so is one before another; a character right behind it
// (Alt and a key) is passed over, and so is every sequence that is no arrow key. One that has begun is waited for longer, since
// nobody types such a beginning.
class keyDecoder {
 public:
  using clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds escapePause{20}, sequencePause{1000};

  void add(std::string_view bytes, clock::time_point now);
  keyPress next(clock::time_point now); // key::none when none is complete

 private:
  keyPress nextEscape(clock::time_point now);
  keyPress take(size_t bytes, key code);

  std::string bytes_;
  clock::time_point added_;
};

} // namespace larchhost
