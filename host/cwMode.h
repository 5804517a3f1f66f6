// Morse: the library's mode with the text that it hears and sends.
#pragma once
#include "host/textMode.h"
#include <string>

namespace larchhost {

struct cwSettings {
  double wpm = 25;
  double pitch_Hz = 650;
  double sidetone = 0.3; // 1 is full scale
  int32_t hang_ms = 500;
};

// One a process, since the library's callbacks carry no context. The tuned frequency is that of the carrier: the mode itself
// moves what is received up by the pitch. The high edge is half of the receive filter's width.
class cwMode : public textMode {
 public:
  explicit cwMode(const cwSettings& settings);
  ~cwMode() override;
  modDemod* create() override;
  void detach(modDemod* mode) override;
  signedEdges receiveEdges(filterEdges edges, sideband side) const override;
  signedEdges transmitEdges(filterEdges edges, sideband side) const override;
  std::string name(sideband side) const override;
  std::string filterText(filterEdges edges) const override;

  void key(bool down); // also raises the transceiver's ptt: ask the guard first
  void queue(const std::string& text, uint32_t base) override;
  void setSpeed(double wpm); // of what is sent, from the next element on

  std::string takeReceived();                             // since the last call
  double receivedSpeed() const { return receivedSpeed_; } // words per minute

 private:
  static cwMode* only;
  const cwSettings settings_;
  cwModDemod* handle_ = nullptr; // the station's
  std::string received_;
  double receivedSpeed_ = 0;
};

// What is queued for the library to sound as `c`: its "!" and "?" sound as each other. The same way back.
char exchanged(char c);

} // namespace larchhost
