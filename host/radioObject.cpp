#include "host/radioObject.h"

namespace larchhost {
namespace {

constexpr int receivingProtocol = 2;

Radio* create(int protocol) {
  if (protocol == receivingProtocol) return reinterpret_cast<Radio*>(HpsdrNpRadio_create());
  return reinterpret_cast<Radio*>(HpsdrRadio_create());
}

} // namespace

radioObject::radioObject(int protocol) : protocol_(protocol), radio_(create(protocol)) {
  asyncObject_bindDeleted(reinterpret_cast<asyncObject*>(radio_), [](int32_t) {});
}

radioObject::~radioObject() {
  if (HpsdrNpRadio* np = receiving())
    HpsdrNpRadio_release(np);
  else
    HpsdrRadio_release(transmitting());
}

HpsdrRadio* radioObject::transmitting() const {
  return protocol_ == receivingProtocol ? nullptr : reinterpret_cast<HpsdrRadio*>(radio_);
}
HpsdrNpRadio* radioObject::receiving() const {
  return protocol_ == receivingProtocol ? reinterpret_cast<HpsdrNpRadio*>(radio_) : nullptr;
}

void radioObject::setBoard(const boardProfile& board, int firmware) {
  Radio_setmaxHwReceivers(radio_, board.receivers);
  if (HpsdrNpRadio* np = receiving()) {
    HpsdrNpRadio_setclockFrequency(np, board.clockFrequency);
    HpsdrNpRadio_setminRxRFGain(np, board.minGain_dB);
    HpsdrNpRadio_setmaxRxRFGain(np, board.maxGain_dB);
    HpsdrNpRadio_setFwVersion(np, firmware);
    return;
  }
  HpsdrRadio* radio = transmitting();
  HpsdrRadio_setclockFrequency(radio, board.clockFrequency);
  HpsdrRadio_setmaxAdcValue(radio, board.maxAdcValue);
  HpsdrRadio_setminRxRFGain(radio, board.minGain_dB);
  HpsdrRadio_setmaxRxRFGain(radio, board.maxGain_dB);
  HpsdrRadio_setHLiteGain(radio, board.gain == gainForm::hermesLite);
  HpsdrRadio_setHLite2Gain(radio, board.gain == gainForm::hermesLite2);
  HpsdrRadio_setTypeID(radio, board.code);
  HpsdrRadio_setFwVersion(radio, firmware);
  HpsdrRadio_settxGain(radio, board.minGain_dB); // the own signal is near
}

void radioObject::setAddress(const std::string& address) {
  if (HpsdrNpRadio* np = receiving())
    HpsdrNpRadio_setipAddress(np, address.c_str());
  else
    HpsdrRadio_setipAddress(transmitting(), address.c_str());
}

void radioObject::setGain(int32_t gain_dB) {
  if (HpsdrNpRadio* np = receiving())
    HpsdrNpRadio_setrxGain(np, gain_dB);
  else
    HpsdrRadio_setrxGain(transmitting(), gain_dB);
}

void radioObject::bindReports(larch_bool_cb overload, larch_double_cb peak_dBFS, larch_int32_cb sequenceBreaks) {
  if (HpsdrNpRadio* np = receiving()) {
    HpsdrNpRadio_bindadcOvl(np, overload);
    HpsdrNpRadio_bindadcPeakDBFS(np, peak_dBFS);
    HpsdrNpRadio_bindep6SeqErrors(np, sequenceBreaks);
    return;
  }
  HpsdrRadio_bindadcOvl(transmitting(), overload);
  HpsdrRadio_bindadcPeakDBFS(transmitting(), peak_dBFS);
  HpsdrRadio_bindep6SeqErrors(transmitting(), sequenceBreaks);
}

} // namespace larchhost
