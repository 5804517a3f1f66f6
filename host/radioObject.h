// The library's radio object of either protocol, behind what both have.
#pragma once
#include "host/boardProfile.h"
#include "runtime/larchlib.h"
#include <cstdint>
#include <string>

namespace larchhost {

// Holds the handle.
class radioObject {
 public:
  explicit radioObject(int protocol);
  ~radioObject();
  radioObject(const radioObject&) = delete;
  radioObject& operator=(const radioObject&) = delete;

  Radio* base() const { return radio_; }
  HpsdrRadio* transmitting() const; // null: Protocol 2, which only receives
  void setBoard(const boardProfile& board, int firmware);
  void setAddress(const std::string& address);
  void setGain(int32_t gain_dB);
  void bindReports(larch_bool_cb overload, larch_double_cb peak_dBFS, larch_int32_cb sequenceBreaks);

 private:
  HpsdrNpRadio* receiving() const; // null: Protocol 1
  const int protocol_;
  Radio* radio_;
};

} // namespace larchhost
