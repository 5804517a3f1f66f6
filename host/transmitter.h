// The sending side of the station: one transceiver that may be keyed, its settings and the radio's transmit meters.
#pragma once
#include "host/stationMode.h"
#include "host/transmitGuard.h"
#include "runtime/larchlib.h"
#include <cstdint>
#include <functional>

namespace larchhost {

struct transmitSettings {
  bool allowed = false; // --transmit; without it the radio object itself refuses to key
  std::chrono::seconds timeout = transmitGuard::defaultTimeout;
  std::chrono::milliseconds tail{0}; // what the mode sends after its key has come up
  int32_t drive = 0;                 // 0 to 255
  int32_t offset = 0;                // Hz added to the transmit frequency
  filterEdges filter{300, 2700};     // Hz from the carrier; the mode makes its filter of them
  int32_t microphone = -1;           // as vtrx_setaudioInput takes it, 0: none; below 0: the system's default
  double voxThreshold = 0.2, voxHold_s = 0.5;
  bool vox = false, delay = false;
  bool radioKeys = false; // the radio's own PTT input is a hand key
  bool amplifier = true;  // the board's own, where it has a switch for it
};

struct transmitMeters {
  double micLevel = 0;                    // peak, 1 is full scale
  double forward_W = 0, reverse_W = 0;    // while on the air
  double swr = 0;                         //
  double current_mA = 0, temperature = 0; // degrees Celsius
  bool radioPtt = false;                  // the radio's own PTT input
};

// One a process, since the library's callbacks carry no context; on the polling thread. The guard says what is keyed; each
// `update` commands what has changed. Its owner, the station, lets the guard's end reach the wire before it stops the radio.
class transmitter {
 public:
  explicit transmitter(const transmitSettings& settings, transmitGuard::timeSource now = transmitGuard::clock::now);
  ~transmitter();
  transmitter(const transmitter&) = delete;
  transmitter& operator=(const transmitter&) = delete;

  // The station's: before the radio starts; when the transceiver is there; when it has its mode; on each poll; as reports come.
  void prepare(HpsdrRadio* radio);
  void attach(vtrx* handle);
  void setEdges(signedEdges edges);
  void update();
  void detach(); // the transceiver is about to go
  transmitGuard& guard() { return guard_; }
  const transmitGuard& guard() const { return guard_; }

  // A person's. Keys are refused without --transmit; see the guard's note.
  void toggleKey();
  void toggleTune(); // a steady carrier at full scale of the drive, keyed by hand
  void toggleVox() { guard_.wantVox(!guard_.voxWanted()); }
  void setDelay(bool on);
  void setDrive(int32_t drive);

  // A mode that keys by itself, at a time of its own: from `expect` on its key, once, is taken for a press. `withdraw` takes away
  // what it would key for; called when the station ends before that.
  void expect(std::function<void()> withdraw);
  bool expecting() const { return withdraw_ != nullptr; }
  // The station's, at its end. True: the mode may have keyed just now, and says so within the next polls.
  bool withdraw();

  // Asks the transceiver for an answer, which comes behind all that it has reported until it has done what was commanded so far.
  void ask();
  bool answered() const { return !handle_ || answered_ == asked_; }

  bool tuning() const;
  bool delay() const { return settings_.delay; }
  const transmitSettings& settings() const { return settings_; }
  const transmitMeters& meters() const { return meters_; }

 private:
  void takeRadioPtt(bool on);
  void takePtt(bool on);

  static transmitter* only;
  transmitSettings settings_;
  transmitGuard guard_;
  transmitMeters meters_;
  HpsdrRadio* radio_ = nullptr;
  vtrx* handle_ = nullptr;
  int32_t asked_ = 0, answered_ = 0;
  uint32_t tuned_ = 0;             // the transmission that is a carrier
  std::function<void()> withdraw_; // set while a mode is expected to key
  bool commandedKey_ = false, commandedVox_ = false, commandedTune_ = false;
};

} // namespace larchhost
