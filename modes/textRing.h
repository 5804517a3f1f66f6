// The text that waits to be sent, as a ring that a host may rewrite while it is being sent.
#pragma once
#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string_view>

namespace larch {

// One writer (queue: the mode's group) and one reader (take: the transceiver's group), without a lock. All three counters lie in
// one word, so that the reader can't take a character of a text that the writer has just dropped.
class textRing {
 public:
  static constexpr uint32_t size = 1024; // bytes

  // Drops what hasn't been taken and queues `text` from index sentCount - base on. The host holds a growing text, gives as base
  // the sentCount at which it began, and may change what has not gone out yet. An index below 0 or behind the text queues
  // nothing. required: the fill isn't limited, a text of `size` bytes or more overwrites itself and only its last length % size
  // bytes stay
  void queue(std::string_view text, uint32_t base);

  // The next character, counted as sent; nothing when the ring is empty. rt.
  std::optional<char> take();

  bool empty() const;
  int32_t sentCount() const; // characters taken so far; wraps around

 private:
  struct state {
    uint32_t sent = 0;
    uint16_t read = 0, write = 0; // below size
  };
  static uint64_t pack(state s) { return uint64_t{s.sent} << 32 | uint64_t{s.read} << 16 | s.write; }
  static state unpack(uint64_t w) {
    return {static_cast<uint32_t>(w >> 32), static_cast<uint16_t>(w >> 16), static_cast<uint16_t>(w)};
  }

  // release where the writer publishes text, acquire where the reader sees it, and the other way round for taken places
  std::atomic<uint64_t> state_{0};
  // relaxed: state_ orders them; a reader that loses against queue() may read a byte that is being written and drops it
  std::array<std::atomic<char>, size> text_{};
};

} // namespace larch
