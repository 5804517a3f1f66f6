// Morse: what `larch cw` adds to receiveSession.
#pragma once
#include "host/cwMode.h"
#include "host/cwText.h"
#include "host/keyInput.h"
#include "host/receiveSession.h"
#include "host/sendLine.h"
#include <memory>

namespace larchhost {

class cwSession : public receiveSession {
 public:
  // key may be empty.
  cwSession(const cwOptions& options, const transmitSettings& sending, const stationSettings& settings, const receiver& first,
            cwMode& mode, std::unique_ptr<keyInput> key, const std::string& audioName);
  bool incomplete() const { return incomplete_; } // a text that was to be sent at once didn't go out whole
  void printRest();                               // what has been received and not printed yet

 protected:
  void polled() override;
  bool press(const keyPress& k) override;
  std::vector<std::string> statusLines(int columns) const override;
  std::string keysText() const override;
  bool saysLines() const override { return false; }
  std::chrono::milliseconds pause() const override;

 private:
  void takeTexts();
  void sendScript();
  void watchEnd();
  void readKeyDevice();
  void moveKey(bool down);
  void liftKey();
  void keepKeyed();
  void keepText();
  void finishStop();
  void stopSending();
  void giveUp();
  void queueText();
  void typed(char c);
  void changeSpeed(double by);
  void changeWidth(int32_t by);
  void tellNote();
  void printText();
  void printReceived(const std::string& line) const;
  int64_t seconds() const; // since the start
  std::string state() const;
  std::string sendText(size_t room) const;

  const cwOptions& options_;
  cwMode& mode_;
  const std::unique_ptr<keyInput> key_;
  transmitter& sender_;
  sendLine line_;
  cwText received_;
  std::string sent_; // of this transmission, without a terminal
  double wpm_;
  enum class script { none, waiting, sending, over } script_;
  const bool endsByItself_;
  bool incomplete_ = false;
  bool keyed_ = false;    // by the guard, when last seen
  bool keyDown_ = false;  // as the mode has been told
  bool stopping_ = false; // the element under way is the last
  clock::time_point stopBy_, started_ = clock::now();
  std::string toldNote_, hint_;
  bool toldGone_ = false;
};

} // namespace larchhost
