// Morse: what `larch cw` adds to textSession.
#pragma once
#include "host/cwMode.h"
#include "host/receivedText.h"
#include "host/keyInput.h"
#include "host/textSession.h"
#include <memory>

namespace larchhost {

class cwSession : public textSession {
 public:
  // key may be empty.
  cwSession(const cwOptions& options, const transmitSettings& sending, const stationSettings& settings, const receiver& first,
            cwMode& mode, std::unique_ptr<keyInput> key, const std::string& audioName);
  void printRest(); // what has been received and not printed yet

 protected:
  void polled() override;
  std::vector<std::string> statusLines(int columns) const override;
  std::string keysText() const override;
  std::chrono::milliseconds pause() const override;
  void takeTexts() override;
  void watchEnd() override;
  void giveUp() override;
  void keepKeyed() override;
  void queueText() override;
  void stopSending() override;
  bool command(char c) override;
  std::string sentLine(const std::string& text) const override;

 private:
  void readKeyDevice();
  void moveKey(bool down);
  void liftKey();
  void keepText();
  void finishStop();
  void changeSpeed(double by);
  void changeWidth(int32_t by);
  void printReceived(const std::string& line) const;
  int64_t seconds() const; // since the start

  cwMode& mode_;
  const std::unique_ptr<keyInput> key_;
  receivedText received_;
  double wpm_;
  bool keyDown_ = false;  // as the mode has been told
  bool stopping_ = false; // the element under way is the last
  clock::time_point stopBy_, started_ = clock::now();
  bool toldGone_ = false;
};

} // namespace larchhost
