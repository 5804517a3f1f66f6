// Reception with a key: what `larch talk` adds to receiveSession.
#pragma once
#include "host/receiveSession.h"

namespace larchhost {

class talkSession : public receiveSession {
 public:
  talkSession(const talkOptions& options, const transmitSettings& sending, const stationSettings& settings, const receiver& first,
              const std::string& audioName, std::string inputName);
  bool incomplete() const { return incomplete_; } // what a script asked to be sent wasn't, or was cut short

 protected:
  void polled() override;
  bool press(const keyPress& k) override;
  std::vector<std::string> statusLines(int columns) const override;
  std::string statusText() const override;
  std::string keysText() const override;
  bool offers(voice v) const override;

 private:
  void keyForAWhile();
  void tellNote();
  std::string state() const;

  const double ptt_s_;
  const double wideDeviation_Hz_;
  const bool endsByItself_; // after ptt_s_
  const std::string inputName_;
  transmitter& sender_;
  enum class script { waiting, keyed, over } script_ = script::waiting;
  clock::time_point keyedAt_;
  bool incomplete_ = false;
  std::string toldNote_;
};

// "-12 dB" for a microphone peak of a quarter of full scale.
std::string micText(double level);

} // namespace larchhost
