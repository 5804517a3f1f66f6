#include "host/pskBand.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace larchhost {
namespace {

constexpr size_t mostText = 400, keptText = 200; // of a signal, for a screen
constexpr double fading_s = 10, levelShare = 0.2;
constexpr double strangeWeight = 2; // characters that are rare in any text: signs of one that is made up
constexpr unsigned char firstPrintable = 0x20, firstLatin = 0xA0, deleteCharacter = 0x7F;

bool isControl(unsigned char c) { return c < firstPrintable || (c >= deleteCharacter && c < firstLatin); }

// Blanks at the ends say nothing.
std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

} // namespace

void pskBand::setPrimary(size_t detector) {
  if (detector >= detectors || detector == primary_) return;
  if (primary_ >= scanning) restart(primary_); // nobody listens to it any more
  primary_ = detector;
}

void pskBand::restart(size_t detector) {
  state& s = all_.at(detector);
  endLine(s, std::exchange(s.line, {}));
  s.text.clear();
  s.active = false;
}

void pskBand::restart() {
  for (size_t i = 0; i < detectors; i++) restart(i);
}

// Whether nobody else tells of its signal.
bool pskBand::told(const state& s) const {
  const state& primary = all_[primary_];
  if (&s == &primary) return true;
  return std::none_of(all_.begin(), all_.end(), [&](const state& other) {
    if (&other == &s || !counts(other) || other.mode != s.mode) return false;
    if (std::abs(int64_t{other.frequency} - s.frequency) > sameSignal) return false;
    return &other == &primary || !s.active || other.first < s.first || (other.first == s.first && &other < &s);
  });
}

// Whether it is the shadow of a signal that another detector tells of.
bool pskBand::madeUp(const state& s) const {
  if (buried(s)) return true;
  const double own = amountNow(s);
  return std::any_of(all_.begin(), all_.end(), [&](const state& other) {
    if (&other == &s || !counts(other) || buried(other)) return false;
    const int64_t apart = std::abs(int64_t{other.frequency} - s.frequency);
    const double more = amountNow(other);
    if (apart <= sameSignal) return other.mode != s.mode && more > own;
    if (apart <= edges && more >= 2 * own) return true;
    return apart <= sidebands && more >= 2 * own && other.level_dBm > s.level_dBm + muchLouder_dB;
  });
}

// Heard lately, by one that counts.
bool pskBand::counts(const state& s) const {
  const auto detector = static_cast<size_t>(&s - all_.data());
  return s.active && now_ - s.last <= forgotten && (detector < scanning || detector == primary_);
}

double pskBand::amountNow(const state& s) const {
  return s.amount * std::exp(-std::chrono::duration<double>(now_ - s.last).count() / fading_s);
}

void pskBand::count(state& s, const std::string& text, double level_dBm) {
  double letters = 0;
  for (const char c : text) letters += c > ' ' && c < deleteCharacter ? 1 : c < 0 ? -strangeWeight : 0;
  s.amount = std::max(0.0, (s.active ? amountNow(s) : 0) + letters);
  s.level_dBm = s.active ? s.level_dBm + levelShare * (level_dBm - s.level_dBm) : level_dBm;
  if (!std::exchange(s.active, true)) s.first = now_;
  s.last = now_;
}

void pskBand::add(size_t detector, const std::string& text, double level_dBm, clock::time_point now) {
  state& s = all_.at(detector);
  now_ = now;
  if (detector >= scanning && detector != primary_) return;
  if (!told(s)) {
    s.line.clear();
    return restart(detector);
  }
  count(s, text, level_dBm);
  for (const char c : text) takeCharacter(s, c);
  if (s.text.size() > mostText) s.text.erase(0, s.text.size() - keptText);
}

void pskBand::takeCharacter(state& s, char c) {
  if (c == '\r' || c == '\n') {
    endLine(s, std::exchange(s.line, {}));
    c = ' ';
    if (s.text.ends_with(' ')) return;
  } else if (isControl(static_cast<unsigned char>(c))) {
    return;
  } else {
    s.line += c;
  }
  s.text += c;
  if (s.line.size() >= lineLength) cutLine(s);
}

// At a blank, if there is one.
void pskBand::cutLine(state& s) {
  const size_t blank = s.line.rfind(' ');
  const size_t length = blank == std::string::npos || trimmed(s.line.substr(0, blank)).empty() ? s.line.size() : blank + 1;
  endLine(s, s.line.substr(0, length));
  s.line.erase(0, length);
}

void pskBand::endLine(const state& s, std::string line) {
  line = trimmed(line);
  if (!line.empty() && !madeUp(s)) lines_.push_back({s.frequency, s.mode, line, s.level_dBm, &s == &all_[primary_]});
}

std::vector<pskSignal> pskBand::takeLines(clock::time_point now) {
  now_ = now;
  for (state& s : all_)
    if (s.active && now - s.last >= silence) endLine(s, std::exchange(s.line, {}));
  return std::exchange(lines_, {});
}

std::vector<pskSignal> pskBand::takeRest() {
  for (state& s : all_) endLine(s, std::exchange(s.line, {}));
  return std::exchange(lines_, {});
}

std::vector<pskSignal> pskBand::heard() const {
  std::vector<pskSignal> result;
  for (const state& s : all_)
    if (counts(s) && told(s) && !madeUp(s)) result.push_back({s.frequency, s.mode, s.text, s.level_dBm, &s == &all_[primary_]});
  std::stable_sort(result.begin(), result.end(), [](const auto& a, const auto& b) { return a.frequency < b.frequency; });
  return result;
}

std::string shownText(const std::string& latin1, bool unicode) {
  std::string text;
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (isControl(byte)) continue;
    if (byte < deleteCharacter)
      text += c;
    else if (unicode)
      text += {static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))};
    else
      text += '?';
  }
  return text;
}

} // namespace larchhost
