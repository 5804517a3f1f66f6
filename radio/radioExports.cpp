// Exports of the radio's base. They serve the derived classes' handles, too.
#include "runtime/larchlib.h"
#include "radio/Radio.h"
#include "runtime/exportRows.h"
#include "transceiver/vtrx.h"

LARCH_LIFE(Radio)
LARCH_SCALAR(Radio, ptt, bool)
LARCH_SCALAR(Radio, maxHwReceivers, int32_t)
LARCH_SCALAR(Radio, maxADCs, int32_t)
LARCH_SCALAR(Radio, canTransmit, bool)
LARCH_SCALAR(Radio, rxLevelCalibration, double)
LARCH_SCALAR(Radio, sentPackets, int32_t)
LARCH_SCALAR(Radio, receivedPackets, int32_t)
LARCH_SCALAR(Radio, SampleRate, int32_t)
LARCH_SCALAR(Radio, disableVirtualReceivers, bool)
LARCH_SCALAR(Radio, TransceiverOffset, int32_t)
LARCH_SCALAR(Radio, drive, int32_t)
LARCH_SCALAR(Radio, RadioPtt, bool)
LARCH_SCALAR(Radio, cwHangTime, int32_t)
LARCH_SCALAR(Radio, cwInternal, bool)
LARCH_EVENT(Radio, vtrxAdded, vtrx* handle, int32_t frequency, int32_t sampleRate)

void Radio_start(Radio* h) {
  larch::queueOnObject<larch::Radio>(h, "Radio.start()", [](larch::Radio& radio) { radio.start(); });
}
void Radio_stop(Radio* h) {
  larch::queueOnObject<larch::Radio>(h, "Radio.stop()", [](larch::Radio& radio) { radio.stop(); });
}
void Radio_addVtrx(Radio* h, int32_t frequency, int32_t receiver) {
  larch::queueOnObject<larch::Radio>(h, "Radio.addVtrx()",
                                     [frequency, receiver](larch::Radio& radio) { radio.addVtrx(frequency, receiver); });
}
void Radio_removeVtrx(Radio* h, vtrx* transceiver) {
  larch::queueOnObject<larch::Radio>(
      h, "Radio.removeVtrx()",
      [item = larch::objectOf<larch::vtrx>(transceiver)](larch::Radio& radio) { radio.removeVtrx(item); });
}
