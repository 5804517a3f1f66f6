#include "host/receivedText.h"
#include <algorithm>
#include <utility>

namespace larchhost {
namespace {

constexpr size_t mostKept = 8000, keptAtLeast = 4000;
constexpr char lineFeed = '\n';

// Blanks at the ends say nothing.
std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \n");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \n") - first + 1);
}

} // namespace

void receivedText::add(const std::string& text, clock::time_point now) {
  if (text.empty()) return;
  all_ += text;
  fresh_ += text;
  changed_ = now;
  if (all_.size() > mostKept) all_.erase(0, all_.size() - keptAtLeast);
}

void receivedText::addRows(std::vector<std::string>& rows, const std::string& line, size_t columns) const {
  for (size_t at = 0; at < line.size();) {
    size_t length = std::min(columns, line.size() - at), next = at + length;
    if (next < line.size()) {
      const size_t blank = line.rfind(' ', next);
      if (blank != std::string::npos && blank > at) {
        length = blank - at;
        next = blank + 1;
      }
    }
    rows.push_back(line.substr(at, length));
    at = next;
  }
}

std::vector<std::string> receivedText::lines(size_t columns, size_t rows) const {
  std::vector<std::string> result;
  for (size_t at = 0; at < all_.size();) {
    const size_t end = std::min(all_.find(lineFeed, at), all_.size());
    addRows(result, all_.substr(at, end - at), std::max<size_t>(columns, 1));
    at = end + 1;
  }
  if (result.size() > rows) result.erase(result.begin(), result.end() - static_cast<ptrdiff_t>(rows));
  return result;
}

size_t receivedText::lengthOfLine() const {
  if (const size_t end = fresh_.find(lineFeed); end != std::string::npos) return end + 1;
  const bool full = (fresh_.size() >= when_.length && fresh_.ends_with(' ')) || fresh_.size() >= 2 * when_.length;
  return full ? fresh_.size() : 0;
}

std::optional<std::string> receivedText::takeLine(clock::time_point now) {
  while (!fresh_.empty()) {
    size_t length = lengthOfLine();
    if (length == 0 && now - changed_ < when_.pause) return {};
    if (length == 0) length = fresh_.size();
    const std::string line = trimmed(fresh_.substr(0, length));
    fresh_.erase(0, length);
    if (!line.empty()) return line;
  }
  return {};
}

std::string receivedText::takeRest() { return trimmed(std::exchange(fresh_, {})); }

} // namespace larchhost
