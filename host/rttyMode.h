// Radioteletype: the library's mode with the text that it hears and sends.
#pragma once
#include "host/textMode.h"
#include <string>
#include <utility>

namespace larchhost {

// One a process, since the library's callbacks carry no context. The tuned frequency is that of the suppressed carrier of an
// upper sideband. The high edge is half of the receive filter's width, which lies around the two tones received.
class rttyMode : public textMode {
 public:
  static constexpr int32_t shift = 170;                       // Hz
  static constexpr int32_t sentMark = 2170, sentSpace = 2000; // Hz above the tuned frequency
  static constexpr int32_t farthest = 2500;                   // Hz, of a mark on either side

  explicit rttyMode(int32_t mark); // Hz above the tuned frequency: of what is received, where the mark is the lower tone
  ~rttyMode() override;
  modDemod* create() override;
  void detach(modDemod* mode) override;
  signedEdges receiveEdges(filterEdges edges, sideband side) const override;
  signedEdges transmitEdges(filterEdges edges, sideband side) const override;
  std::string name(sideband side) const override;
  std::string filterText(filterEdges edges) const override;

  int32_t mark() const { return mark_; }
  void queue(const std::string& text, uint32_t base) override;
  std::string takeReceived() { return std::exchange(received_, {}); } // bytes since the last call; noise has its say, too

 private:
  static rttyMode* only;
  const int32_t mark_;
  RTTYModDemod* handle_ = nullptr; // the station's
  std::string received_;
};

} // namespace larchhost
