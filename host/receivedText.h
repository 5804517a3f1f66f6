// What has been received as text: the last lines for a screen, or lines as they come.
#pragma once
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace larchhost {

class receivedText {
 public:
  using clock = std::chrono::steady_clock;
  struct breaks {
    size_t length = 24; // a line is full at a blank behind so many characters, or at twice as many
    std::chrono::milliseconds pause{1000};
  };

  receivedText() = default;
  explicit receivedText(breaks when) : when_(when) {}

  void add(const std::string& text, clock::time_point now); // a line feed ends a line
  // The last `rows` lines, broken at blanks where that is possible.
  std::vector<std::string> lines(size_t columns, size_t rows) const;
  // What has come since the last one: when it is full, at its end, or when nothing more has come for the pause.
  std::optional<std::string> takeLine(clock::time_point now);
  std::string takeRest(); // empty when there is none

 private:
  void addRows(std::vector<std::string>& rows, const std::string& line, size_t columns) const;
  size_t lengthOfLine() const; // 0: it hasn't ended

  breaks when_;
  std::string all_;   // the latest
  std::string fresh_; // not taken yet
  clock::time_point changed_;
};

} // namespace larchhost
