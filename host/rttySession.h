// Radioteletype: what `larch rtty` adds to textSession.
#pragma once
#include "host/receivedText.h"
#include "host/rttyMode.h"
#include "host/textSession.h"
#include <deque>

namespace larchhost {

class rttySession : public textSession {
 public:
  // mode must outlive it.
  rttySession(const rttyOptions& options, const transmitSettings& sending, const stationSettings& settings, const receiver& first,
              rttyMode& mode, const std::string& audioName);
  static bool isQueued(char c);                           // what may be typed, and what goes with it
  static std::string queuedText(const std::string& text); // a script's

 protected:
  void polled() override;
  void ended() override;
  std::vector<std::string> statusLines(int columns) const override;
  std::string keysText() const override;
  void takeTexts() override;
  void stopSending() override { stopBehindCharacter(); }
  bool command(char c) override;
  void put(char c) override;
  void takeBack() override;

 private:
  struct heardByte {
    char byte;
    clock::time_point at;
  };
  void measure();
  bool open() const { return clearance_dB_ >= squelch_dB_; }
  void takeReceived();
  void tell(char byte);
  void changeWidth(int32_t by);
  int64_t markFrequency() const { return first().frequency + int64_t{mode_.mark()}; }
  void printReceived(const std::string& line) const;

  rttyMode& mode_;
  const double squelch_dB_;
  const bool raw_;
  double clearance_dB_ = 0; // of the stronger tone over the noise, smoothed
  bool wasOpen_ = false;
  clock::time_point measured_;
  std::deque<heardByte> held_; // until the measurement has come to it
  receivedText received_;
};

} // namespace larchhost
