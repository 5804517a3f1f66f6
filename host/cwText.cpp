#include "host/cwText.h"
#include <algorithm>
#include <utility>

namespace larchhost {
namespace {

constexpr size_t mostKept = 8000, keptAtLeast = 4000;

// Blanks at the ends say nothing.
std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

} // namespace

void cwText::add(const std::string& text, clock::time_point now) {
  if (text.empty()) return;
  all_ += text;
  fresh_ += text;
  changed_ = now;
  if (all_.size() > mostKept) all_.erase(0, all_.size() - keptAtLeast);
}

std::vector<std::string> cwText::lines(size_t columns, size_t rows) const {
  std::vector<std::string> result;
  columns = std::max<size_t>(columns, 1);
  for (size_t at = 0; at < all_.size();) {
    size_t length = std::min(columns, all_.size() - at), next = at + length;
    if (next < all_.size()) {
      const size_t blank = all_.rfind(' ', next);
      if (blank != std::string::npos && blank > at) {
        length = blank - at;
        next = blank + 1;
      }
    }
    result.push_back(all_.substr(at, length));
    at = next;
  }
  if (result.size() > rows) result.erase(result.begin(), result.end() - static_cast<ptrdiff_t>(rows));
  return result;
}

std::optional<std::string> cwText::takeLine(clock::time_point now) {
  const bool full = fresh_.size() >= lineLength && fresh_.ends_with(' ');
  if (fresh_.empty() || (!full && now - changed_ < pause)) return {};
  const std::string line = takeRest();
  return line.empty() ? std::nullopt : std::optional(line);
}

std::string cwText::takeRest() { return trimmed(std::exchange(fresh_, {})); }

} // namespace larchhost
