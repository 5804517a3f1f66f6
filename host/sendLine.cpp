#include "host/sendLine.h"
#include <cctype>
#include <cstring>

namespace larchhost {
namespace {

constexpr size_t mostGone = 400, keptGone = 200; // for the screen

} // namespace

bool sendLine::hasCode(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 128 && c != '\0' && (std::isalnum(byte) || std::strchr(" .!?", c));
}

bool sendLine::isPlain(char c) { return c >= ' ' && c < endSign; }

bool sendLine::type(char c) {
  if (!taken_(c) || waiting().size() + held_.size() >= mostWaiting) return false;
  (live_ ? text_ : held_) += c;
  return true;
}

bool sendLine::erase() {
  std::string& last = live_ ? text_ : held_;
  if (last.empty() || (live_ && waiting().empty())) return false;
  last.pop_back();
  return true;
}

void sendLine::release() {
  if (waiting().ends_with(endSign)) text_.pop_back();
  text_ += held_;
  held_.clear();
  live_ = true;
}

void sendLine::end() {
  if (!waiting().ends_with(endSign)) text_ += endSign;
  live_ = false;
}

void sendLine::drop() {
  text_.resize(goneCount());
  held_.clear();
  live_ = false;
}

bool sendLine::reportSent(char c) {
  const size_t at = goneCount();
  const bool rewritten = at >= text_.size() || text_[at] != c;
  if (rewritten) text_.insert(at, 1, c);
  sent_++;
  forgetOld();
  return rewritten;
}

void sendLine::forgetOld() {
  if (goneCount() < mostGone) return;
  const size_t old = goneCount() - keptGone;
  text_.erase(0, old);
  base_ += static_cast<uint32_t>(old);
}

} // namespace larchhost
