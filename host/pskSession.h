// PSK31 and its relatives: what `larch psk` adds to textSession.
#pragma once
#include "host/pskMode.h"
#include "host/textSession.h"

namespace larchhost {

class pskSession : public textSession {
 public:
  pskSession(const pskOptions& options, const transmitSettings& sending, const stationSettings& settings, const receiver& first,
             pskMode& mode, const std::string& audioName);
  ~pskSession() override { mode_.levelAt = nullptr; } // the station's end may bring some more text

 protected:
  void ended() override;
  bool press(const keyPress& k) override;
  std::vector<std::string> statusLines(int columns) const override;
  std::string keysText() const override;
  void takeTexts() override;
  bool command(char c) override;

 private:
  void printLines(const std::vector<pskSignal>& lines) const;
  void follow(int32_t frequency);
  void followNeighbour(int by);
  void nextVariant();
  void retune(int32_t by);
  std::string signalLine(const pskSignal& s, size_t columns) const;
  std::vector<std::string> signalLines(size_t columns) const;
  std::vector<std::string> primaryLines(size_t columns) const;

  pskMode& mode_;
  std::string primary_; // what the primary detector has heard
};

} // namespace larchhost
