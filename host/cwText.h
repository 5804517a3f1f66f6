// What has been received as text: the last lines for a screen, or lines as they come.
#pragma once
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace larchhost {

class cwText {
 public:
  using clock = std::chrono::steady_clock;
  static constexpr size_t lineLength = 24;
  static constexpr std::chrono::seconds pause{1};

  void add(const std::string& text, clock::time_point now);
  // The last `rows` lines, broken at blanks where that is possible.
  std::vector<std::string> lines(size_t columns, size_t rows) const;
  // What has come since the last one: at a blank behind lineLength characters, or when nothing more has come for `pause`.
  std::optional<std::string> takeLine(clock::time_point now);
  std::string takeRest(); // empty when there is none

 private:
  std::string all_;   // the latest
  std::string fresh_; // not taken yet
  clock::time_point changed_;
};

} // namespace larchhost
