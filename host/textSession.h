// Reception with text to send: what the commands of the text modes add to receiveSession.
#pragma once
#include "host/receiveSession.h"
#include "host/sendLine.h"
#include "host/textMode.h"

namespace larchhost {

struct textSending {
  std::string text;                                // sent at once
  sendLine::alphabet alphabet = sendLine::hasCode; // what may be typed
  std::string refusal = "not sent";                // said of anything else
  std::string ending;                              // goes out behind a text, before the sign that ends a transmission
};

// What is typed is held until Enter and then sent, and so is what is typed from there on; Enter again ends the transmission
// behind it. A script's text goes out as soon as the radio streams; without a picture and a time the program ends with it. What
// waits when the guard has ended a transmission isn't sent with the next one.
class textSession : public receiveSession {
 public:
  // options and mode must outlive it.
  textSession(const listenOptions& options, const transmitSettings& sending, const stationSettings& settings,
              const receiver& first, textMode& mode, const std::string& audioName, textSending what);
  bool incomplete() const { return incomplete_; } // a text that was to be sent at once didn't go out whole

 protected:
  void polled() override;
  bool press(const keyPress& k) override;
  bool saysLines() const override { return false; }

  virtual void takeTexts(); // what has gone out, and what has come in
  virtual void watchEnd();
  virtual void giveUp();
  virtual void keepKeyed(); // on the air while there is something to send or to be typed; the mode ends a transmission
  virtual void queueText();
  virtual void stopSending();
  virtual bool command(char) { return false; }                 // true: the character was for us
  virtual void put(char c);                                    // a character behind what has been typed
  virtual void takeBack();                                     // the last one
  virtual std::string sentLine(const std::string& text) const; // for a line on stdout

  std::vector<std::string> sendLines(size_t columns, const std::string& state) const; // of the picture: state, and what is sent
  void end();                                                                         // behind what waits
  void stopBehindCharacter(); // the one under way goes out, and the ending; the second time it ends at once
  bool ending() const;        // nothing but that end waits
  void changeDrive(int32_t by);
  void hint(const std::string& text) { hint_ = text; } // shown until the next key
  const transmitter& sender() const { return sender_; }
  transmitter& sender() { return sender_; }
  sendLine& line() { return line_; }

 private:
  void sendScript();
  void tellNote();
  void tellSent();
  void typed(char c);
  void toggleSending();

  textMode& mode_;
  transmitter& sender_;
  const textSending what_;
  sendLine line_{what_.alphabet};
  std::string sent_; // of this transmission
  enum class script { none, waiting, sending, over } script_;
  const bool endsByItself_;
  bool incomplete_ = false;
  bool keyed_ = false; // by the guard, when last seen
  std::string toldNote_, hint_;
};

} // namespace larchhost
