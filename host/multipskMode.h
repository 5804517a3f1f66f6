// The library's link to the program MultiPSK: a port that a client takes the samples from, and tunes by.
#pragma once
#include "host/stationMode.h"
#include <optional>
#include <string>
#include <vector>

namespace larchhost {

// One a process, since the library's callbacks carry no context. What is received lies on both sides of the frequency, so that
// the receive filter reaches from -high to high.
class multipskMode : public stationMode {
 public:
  static constexpr int32_t widest = 23000; // Hz on either side: what the channel passes of its 48 kHz

  explicit multipskMode(int32_t port);
  ~multipskMode() override;
  modDemod* create() override;
  void detach(modDemod* mode) override;
  signedEdges receiveEdges(filterEdges edges, sideband side) const override;
  std::string name(sideband side) const override;
  std::string filterText(filterEdges edges) const override;
  int32_t widestFilter() const override { return widest; }

  void watch(vtrx* transceiver); // once it has been given the mode
  bool watching() const { return watching_; }
  const std::string& fault() const { return fault_; } // why there will never be a client; empty: nothing speaks against one
  std::string state() const;                          // of the port and its client, as shown
  std::vector<std::string> takeNews();                // what has happened since the last call, a line each
  std::optional<int32_t> takeFrequency();             // Hz, when the client has tuned since the last call

 private:
  void takePort();
  void tell(bool& state, bool now, const char* on, const char* off);

  static multipskMode* only;
  const int32_t wanted_;
  int32_t port_;
  std::optional<int32_t> frequency_;
  bool watching_ = false, tried_ = false, connected_ = false, sending_ = false;
  std::vector<std::string> news_;
  std::string fault_;
};

} // namespace larchhost
