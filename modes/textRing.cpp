#include "modes/textRing.h"

namespace larch {

void textRing::queue(std::string_view text, uint32_t base) {
  uint64_t seen = state_.load(std::memory_order_acquire);
  state now;
  do {
    now = unpack(seen);
    now.write = now.read;
  } while (!state_.compare_exchange_weak(seen, pack(now), std::memory_order_acq_rel, std::memory_order_acquire));
  // empty now: the reader leaves the ring alone until the new text is published

  const auto start = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(now.sent - base))); // negative: far behind
  if (start >= text.size()) return;
  for (const char c : text.substr(start)) {
    text_[now.write].store(c, std::memory_order_relaxed);
    now.write = static_cast<uint16_t>((now.write + 1u) % size);
  }
  state_.store(pack(now), std::memory_order_release);
}

std::optional<char> textRing::take() {
  uint64_t seen = state_.load(std::memory_order_acquire);
  while (true) {
    state now = unpack(seen);
    if (now.read == now.write) return std::nullopt;
    const char c = text_[now.read].load(std::memory_order_relaxed);
    now.read = static_cast<uint16_t>((now.read + 1u) % size);
    now.sent++;
    if (state_.compare_exchange_weak(seen, pack(now), std::memory_order_acq_rel, std::memory_order_acquire)) return c;
  }
}

bool textRing::empty() const {
  const state now = unpack(state_.load(std::memory_order_acquire));
  return now.read == now.write;
}

int32_t textRing::sentCount() const { return static_cast<int32_t>(unpack(state_.load(std::memory_order_acquire)).sent); }

} // namespace larch
