// Text to a keyed carrier, element by element.
#pragma once
#include "dsp/buff.h"
#include <atomic>
#include <functional>
#include <optional>
#include <string_view>

namespace larch {

// Runs on the transceiver's group; rt as far as its two functions are. 48000 samples/s.
class textKeyer {
 public:
  static constexpr double level = 0.95; // required: not the level of the straight key

  struct surroundings {
    std::function<std::optional<char>()> nextCharacter; // takes one out of the queue; nothing when it is empty
    std::function<void()> endTransmission;              // drops ptt
  };
  struct controls {
    double wpm;
    int32_t hangTime_ms;         // idle keying until the transmission ends by itself
    bool radioPtt;               // somebody holds the radio's own key: idle keying ends nothing
    bool hardEdges;              // 1.0 or 0.0, for a radio that shapes the edges itself
    std::atomic<bool>* sidetone; // true while an element sounds; may be null
  };

  explicit textKeyer(surroundings around) : around_(std::move(around)) {}

  void produce(const cbuff& out, const controls& with); // fills the block, real part only
  void noteKeying() { idleSamples_ = 0; }               // somebody else is keying: the hang time starts anew
  bool isSounding() const { return sounding_; }         // the last sample belonged to a mark

 private:
  bool beginElement(const controls& with);
  void takeCharacter();
  bool idle(const controls& with);
  double shapedLevel() const;

  surroundings around_;
  std::string_view text_ = "     "; // of the character, see morseText
  size_t index_ = 0;                // of the element in it
  double amplitude_ = 0;
  int32_t elementLength_ = 0, elementPosition_ = 0; // samples
  int64_t idleSamples_ = 0;
  bool sounding_ = false;
};

} // namespace larch
