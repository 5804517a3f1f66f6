#include "host/keyDecoder.h"

namespace larchhost {
namespace {

constexpr char escapeByte = '\033';

bool endsSequence(char c) { return c >= '@' && c <= '~'; }
bool goesOn(char c) { return c >= ' ' && c < '@'; }

key arrow(char last) {
  switch (last) {
  case 'A': return key::up;
  case 'B': return key::down;
  case 'C': return key::right;
  case 'D': return key::left;
  default: return key::none;
  }
}

} // namespace

void keyDecoder::add(std::string_view bytes, clock::time_point now) {
  bytes_ += bytes;
  added_ = now;
}

keyPress keyDecoder::next(clock::time_point now) {
  while (!bytes_.empty()) {
    if (bytes_[0] != escapeByte) {
      const char c = bytes_[0];
      bytes_.erase(0, 1);
      return {key::other, c};
    }
    const size_t before = bytes_.size();
    if (const keyPress k = nextEscape(now); k.code != key::none) return k;
    if (bytes_.size() == before) break; // the rest is on its way
  }
  return {};
}

keyPress keyDecoder::nextEscape(clock::time_point now) {
  const auto waited = now - added_;
  if (bytes_.size() == 1) return waited < escapePause ? keyPress{} : take(1, key::escape);
  if (bytes_[1] == escapeByte) return take(1, key::escape);
  if (bytes_[1] != '[' && bytes_[1] != 'O') return take(2, key::escape);
  size_t last = 2;
  while (last < bytes_.size() && goesOn(bytes_[last])) last++;
  if (last == bytes_.size()) return waited < sequencePause ? keyPress{} : take(last, key::none);
  return endsSequence(bytes_[last]) ? take(last + 1, arrow(bytes_[last])) : take(last, key::none);
}

keyPress keyDecoder::take(size_t bytes, key code) {
  bytes_.erase(0, bytes);
  return {code, 0};
}

} // namespace larchhost
