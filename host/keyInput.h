// A straight key at the computer: the CTS input of a serial line, or the keys of a Linux input device.
#pragma once
#include <array>
#include <bitset>
#include <chrono>
#include <linux/input.h>
#include <optional>
#include <string>

namespace larchhost {

// A mechanical contact: a change counts at once, what follows within `bounce` doesn't.
class keyContact {
 public:
  using clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds bounce{5};

  bool change(bool closed, clock::time_point now); // true: the key has moved to `closed`
  bool down() const { return down_; }

 private:
  bool down_ = false;
  clock::time_point changed_{};
};

// Read in a poll loop, each millisecond. A device that has gone counts as a key that is up.
class keyInput {
 public:
  // A serial line, /dev/input/event*, or a FIFO with the records of such a device; throws std::runtime_error with a text for a
  // person.
  explicit keyInput(const std::string& device);
  ~keyInput();
  keyInput(const keyInput&) = delete;
  keyInput& operator=(const keyInput&) = delete;

  // The next movement since the last one: true is down. Nothing when none waits. Any of the device's keys is the key: it is down
  // as long as one of them is. A line's contact that is closed from the start counts only after it has been open.
  std::optional<bool> next();
  bool gone() const { return gone_; }
  const std::string& name() const { return name_; }

 private:
  std::optional<bool> nextOfLine();
  std::optional<bool> nextOfDevice();
  std::optional<bool> take(const input_event& event);
  std::optional<bool> moveTo(bool down);
  bool readRecord();

  const std::string name_;
  int file_;
  bool line_ = false, seenOpen_ = false, gone_ = false, down_ = false;
  keyContact contact_;
  std::bitset<KEY_CNT> pressed_;
  std::array<char, sizeof(input_event)> record_{}; // a pipe may cut one
  size_t filled_ = 0;
};

} // namespace larchhost
