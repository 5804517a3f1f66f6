// PSK31 and its relatives: what `larch psk` adds to receiveSession.
#pragma once
#include "host/pskMode.h"
#include "host/receiveSession.h"
#include "host/sendLine.h"

namespace larchhost {

class pskSession : public receiveSession {
 public:
  pskSession(const pskOptions& options, const transmitSettings& sending, const stationSettings& settings, const receiver& first,
             pskMode& mode, const std::string& audioName);
  bool incomplete() const { return incomplete_; } // a text that was to be sent at once didn't go out whole
  static bool isSent(char c);                     // printable ASCII but for the sign that ends a transmission

 protected:
  void polled() override;
  void ended() override;
  bool press(const keyPress& k) override;
  std::vector<std::string> statusLines(int columns) const override;
  std::string keysText() const override;
  bool saysLines() const override { return false; }

 private:
  void takeTexts();
  void printLines(const std::vector<pskSignal>& lines) const;
  void watchEnd();
  void sendScript();
  void keepKeyed();
  void stopSending();
  void giveUp();
  void queueText();
  void tellNote();
  void typed(char c);
  void toggleSending();
  void follow(int32_t frequency);
  void followNeighbour(int by);
  void nextVariant();
  void retune(int32_t by);
  std::string state() const;
  std::string signalLine(const pskSignal& s, size_t columns) const;
  std::vector<std::string> signalLines(size_t columns) const;
  std::vector<std::string> primaryLines(size_t columns) const;
  std::string sendText(size_t room) const;

  const pskOptions& options_;
  pskMode& mode_;
  transmitter& sender_;
  sendLine line_{isSent};
  std::string primary_, sent_; // what the primary detector has heard; what went out in this transmission
  enum class script { none, waiting, sending, over } script_;
  const bool endsByItself_;
  bool incomplete_ = false;
  bool keyed_ = false; // by the guard, when last seen
  std::string toldNote_, hint_;
};

} // namespace larchhost
