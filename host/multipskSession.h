// The transceiver as MultiPSK's radio: what `larch multipsk` adds to receiveSession.
#pragma once
#include "host/multipskMode.h"
#include "host/receiveSession.h"

namespace larchhost {

class multipskSession : public receiveSession {
 public:
  multipskSession(const multipskOptions& options, const stationSettings& settings, const receiver& first, multipskMode& mode,
                  const std::string& audioName)
      : receiveSession(options.receive, settings, first, audioName), mode_(mode) {}

 protected:
  void polled() override;
  void ended() override;
  bool press(const keyPress& k) override;
  std::vector<std::string> statusLines(int columns) const override;
  std::string keysText() const override;
  bool saysLines() const override { return false; }

 private:
  void tellNews();

  multipskMode& mode_;
  std::string last_; // of the news
};

} // namespace larchhost
