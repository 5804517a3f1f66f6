// Voice-operated keying: decides on ptt by the level of the microphone.
#pragma once

namespace larch {

// Used on the transceiver's group, once for each chunk; rt.
class voiceSwitch {
 public:
  struct settings {
    double threshold; // microphone level that keys, 1: full scale; half of it counts as quiet
    double hold_s;    // the key stays down this long after the level has fallen
  };

  // The key's new state. `elapsed_s`: length of the chunk.
  bool decide(bool keyed, double level, settings s, double elapsed_s) {
    if (!keyed) {
      if (!(level > s.threshold)) return false;
      holdLeft_s_ = s.hold_s;
      return true;
    }
    if (level > s.threshold * quietShare) { // a threshold that is no number holds no key
      holdLeft_s_ = s.hold_s;
      return true;
    }
    holdLeft_s_ -= elapsed_s;
    return holdLeft_s_ > 0.0;
  }

 private:
  static constexpr double quietShare = 0.5;
  double holdLeft_s_ = 0;
};

} // namespace larch
