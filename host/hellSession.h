// Hellschreiber: what `larch hell` adds to textSession.
#pragma once
#include "host/hellMode.h"
#include "host/hellPicture.h"
#include "host/textSession.h"

namespace larchhost {

class hellSession : public textSession {
 public:
  // mode must outlive it.
  hellSession(const hellOptions& options, const transmitSettings& sending, const stationSettings& settings, const receiver& first,
              hellMode& mode, double frames_s, const std::string& audioName);
  ~hellSession() override { first().frameSeen = {}; } // the station's end brings some more

 protected:
  std::vector<std::string> statusLines(int columns) const override;
  std::string keysText() const override;
  std::string saveWaterfall(const std::string& path) const override;
  void stopSending() override { stopBehindCharacter(); }
  bool command(char c) override;

 private:
  hellMode& mode_;
  hellPicture picture_;
};

} // namespace larchhost
