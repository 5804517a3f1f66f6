// When the transmitter may be keyed and for how long: the rules that keep a station safe, without a radio behind them.
#pragma once
#include "host/bootClock.h"
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace larchhost {

// Key presses, VOX and reports go in; `keyed` and `vox` say what is to be commanded. All on one thread; `check` on each poll.
//
// Nothing is keyed unless `allowed`. A transmission that reaches the time-out ends, and VOX with it: only a fresh press keys
// again. One that is keyed again before it has left the air is the same to the time-out. It ends, too, when the radio is silent
// for longer than `longestSilence`, when `check` hasn't been called for `longestStall`, and by `end`, after which nothing is
// keyed any more. After a transmission the radio is `settled` when it has reported that it isn't transmitting and `holdReports`
// more reports have come in the radio's own time, at least 150 ms: its filters and relays follow the fall by 131 ms of stream.
// What takes longer than `longestFall` and the mode's tail counts as settled, and as `stuck`.
class transmitGuard {
 public:
  using clock = bootClock; // a machine that has slept has stood still
  using timeSource = std::function<clock::time_point()>;
  static constexpr std::chrono::seconds defaultTimeout{180}, longestTimeout{1800}, longestStall{2}, longestSilence{2},
      longestFall{3};
  static constexpr std::chrono::milliseconds hold{150};
  static constexpr int holdReports = 3; // of the signal level, each 192 ms of stream

  // A time-out outside of a second to longestTimeout is brought within. tail: what the mode sends after its key has come up.
  transmitGuard(bool allowed, std::chrono::seconds timeout, timeSource now = clock::now,
                std::chrono::milliseconds tail = std::chrono::milliseconds{0});

  // The hand key. False: refused, and `note` says why.
  bool press();
  void release();
  // The host keys for a mode that ends a transmission by itself, as Morse: text, or its own key. Refused as `press`.
  bool pressForMode();
  void wantVox(bool on); // switching it on is a fresh press

  void reportVox(bool on);   // the transceiver's ptt, as VOX or the mode has set it
  void reportOnAir(bool on); // the radio's ptt
  void reportSignal();       // the signal level came, each 192 ms of stream
  void reportFrame();        // anything else came: the stream goes on
  void check();
  void end();

  bool allowed() const { return allowed_; }
  bool keyed() const { return source_ != source::none; }
  bool byHand() const { return source_ == source::hand; }
  uint32_t transmissions() const { return transmissions_; } // so far, this one included
  bool byMode() const { return source_ == source::mode; }
  bool voxWanted() const { return vox_; }
  bool voxActive() const { return vox_ && source_ != source::hand; } // the hand key suspends it: a quiet microphone would unkey
  bool onAir() const { return onAir_; }
  bool settled() const;
  bool busy() const { return !settled() || onAir_; } // keyed, or the end of it isn't through yet: nothing may move
  bool stuck() const;                                // the end of the transmission hasn't reached the radio
  std::chrono::milliseconds remaining() const;       // until the time-out; all of it while not keyed
  const std::string& note() const { return note_; }  // why a key was refused or a transmission ended; empty after a good press

 private:
  enum class source { none, hand, vox, mode };
  bool allow();
  void keyBy(source s);
  void unkey(const std::string& why);
  void fall();

  const bool allowed_;
  const std::chrono::seconds timeout_;
  const std::chrono::milliseconds fall_; // the longest
  const timeSource now_;
  source source_ = source::none;
  bool vox_ = false, onAir_ = false, ended_ = false, falling_ = false;
  int reports_ = 0; // since the fall
  uint32_t transmissions_ = 0;
  clock::time_point keyedAt_, unkeyedAt_, changedAt_, heardAt_, checkedAt_;
  std::string note_;
};

} // namespace larchhost
