// The timed-slot modes: the library's mode with the files that it writes and the message that it sends.
#pragma once
#include "host/slotFormat.h"
#include "host/stationMode.h"
#include <string>
#include <vector>

namespace larchhost {

// One a process, since the library's callbacks carry no context. Upper sideband.
class slotMode : public stationMode {
 public:
  // folder: in front of the files' names, with its separator; lowest_Hz: of audio, where tone 0 is sent.
  slotMode(const slotFormat& format, std::string folder, int32_t lowest_Hz);
  ~slotMode() override;
  modDemod* create() override;
  void detach(modDemod* mode) override;
  signedEdges transmitEdges(filterEdges edges, sideband side) const override { return onSide(edges, side); }
  std::string name(sideband side) const override;

  // The message of the next slot, or of the rest of this one when less than three seconds of it are over. It keys by itself.
  void queue(const std::vector<float>& tones, uint32_t tag);
  void withdraw(); // the message that waits

  std::vector<std::string> takeFiles(); // since the last call: names with the tag behind them

 private:
  static slotMode* only;
  const slotFormat format_;
  const std::string folder_;
  const int32_t lowest_Hz_;
  JTModDemod* handle_ = nullptr; // the station's
  std::vector<std::string> files_;
};

} // namespace larchhost
