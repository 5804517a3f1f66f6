// Timed slots: what `larch slots` adds to receiveSession.
#pragma once
#include "host/decoderQueue.h"
#include "host/receiveSession.h"
#include "host/slotFile.h"
#include "host/slotMessage.h"
#include "host/slotMode.h"
#include <deque>

namespace larchhost {

class slotSession : public receiveSession {
 public:
  // tones: of the message to send; empty: none.
  slotSession(const slotOptions& options, const slotFormat& format, std::vector<float> tones, const transmitSettings& sending,
              const stationSettings& settings, const receiver& first, slotMode& mode, const std::string& audioName);
  bool incomplete() const { return broken_ || message_.isMissing(); }

 protected:
  void polled() override;
  void ended() override;
  bool press(const keyPress& k) override;
  std::vector<std::string> statusLines(int columns) const override;
  std::string keysText() const override;
  bool saysLines() const override { return false; }

 private:
  void takeFiles();
  void takeFile(const slotFile& file);
  void takeDecoders();
  void sendMessage();
  void watchMessage();
  void tell(const std::string& line);
  void complain(const std::string& text);
  std::string state() const;

  const slotOptions& options_;
  const slotFormat format_;
  const std::vector<float> tones_;
  slotMode& mode_;
  transmitter& sender_;
  decoderQueue decoders_;
  slotMessage message_;
  int32_t files_ = 0;
  bool broken_ = false; // a file wasn't written whole
  std::string toldNote_;
  std::deque<std::string> lines_; // the latest, for the picture
};

} // namespace larchhost
