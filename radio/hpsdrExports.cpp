// Exports of the Protocol 1 radio.
#include "runtime/larchlib.h"
#include "radio/HpsdrRadio.h"
#include "runtime/exportRows.h"

LARCH_LIFE(HpsdrRadio)
LARCH_SCALAR(HpsdrRadio, adcOvl, bool)
LARCH_SCALAR(HpsdrRadio, adcPeak, double)
LARCH_SCALAR(HpsdrRadio, adcPeakDBFS, double)
LARCH_SCALAR(HpsdrRadio, autoFreqCalib, bool)
LARCH_SCALAR(HpsdrRadio, biasEnabled, bool)
LARCH_SCALAR(HpsdrRadio, clockFrequency, int32_t)
LARCH_SCALAR(HpsdrRadio, Current, double)
LARCH_SCALAR(HpsdrRadio, disableTR, bool)
LARCH_SCALAR(HpsdrRadio, enablePA, bool)
LARCH_SCALAR(HpsdrRadio, ep4SeqErrors, int32_t)
LARCH_SCALAR(HpsdrRadio, ep6SeqErrors, int32_t)
LARCH_OBJECT(HpsdrRadio, FilterSet, J16Filter)
LARCH_SCALAR(HpsdrRadio, frequencyCalibration, double)
LARCH_SCALAR(HpsdrRadio, FwdPwr, float)
LARCH_COLLECTION(HpsdrRadio, FwdPwrCalibration, calibLine)
LARCH_SCALAR(HpsdrRadio, FwVersion, int32_t)
LARCH_SCALAR(HpsdrRadio, hasHL2PA, bool)
LARCH_SCALAR(HpsdrRadio, HLite2Gain, bool)
LARCH_SCALAR(HpsdrRadio, HLiteGain, bool)
LARCH_SCALAR(HpsdrRadio, HLiteRxTxGain, bool)
LARCH_TEXT(HpsdrRadio, ipAddress)
LARCH_COLLECTION(HpsdrRadio, J16Set, J16)
LARCH_TEXT(HpsdrRadio, Mac)
LARCH_SCALAR(HpsdrRadio, maxAdcValue, int32_t)
LARCH_SCALAR(HpsdrRadio, maxRxRFGain, int32_t)
LARCH_SCALAR(HpsdrRadio, maxTxRFGain, int32_t)
LARCH_SCALAR(HpsdrRadio, MercurySerial, int32_t)
LARCH_SCALAR(HpsdrRadio, minRxRFGain, int32_t)
LARCH_SCALAR(HpsdrRadio, minTxRFGain, int32_t)
LARCH_SCALAR(HpsdrRadio, paBias0, int32_t)
LARCH_SCALAR(HpsdrRadio, paBias1, int32_t)
LARCH_SCALAR(HpsdrRadio, paExtBias0, int32_t)
LARCH_SCALAR(HpsdrRadio, PenelopeSerial, int32_t)
LARCH_SCALAR(HpsdrRadio, RevPwr, float)
LARCH_SCALAR(HpsdrRadio, rfAgcMode, int32_t)
LARCH_COLLECTION(HpsdrRadio, rfAgcModes, ValueLabelItem)
LARCH_SCALAR(HpsdrRadio, RXAntenna, bool)
LARCH_SCALAR(HpsdrRadio, rxGain, int32_t)
LARCH_COLLECTION(HpsdrRadio, SampleRates, ValueLabelItem)
LARCH_SCALAR(HpsdrRadio, stopToAddReceiver, bool)
LARCH_SCALAR(HpsdrRadio, Swr, float)
LARCH_SCALAR(HpsdrRadio, Temp, double)
LARCH_SCALAR(HpsdrRadio, txGain, int32_t)
LARCH_SCALAR(HpsdrRadio, TypeID, int32_t)
LARCH_SCALAR(HpsdrRadio, UseJ16, bool)

void HpsdrRadio_writeBias(HpsdrRadio* h) {
  larch::queueOnObject<larch::HpsdrRadio>(h, "HpsdrRadio.writeBias()", [](larch::HpsdrRadio& radio) { radio.writeBias(); });
}
void HpsdrRadio_writeExtBias(HpsdrRadio* h) {
  larch::queueOnObject<larch::HpsdrRadio>(h, "HpsdrRadio.writeExtBias()", [](larch::HpsdrRadio& radio) { radio.writeExtBias(); });
}
void HpsdrRadio_writeIP(HpsdrRadio* h, int32_t address) {
  larch::queueOnObject<larch::HpsdrRadio>(h, "HpsdrRadio.writeIP()", [=](larch::HpsdrRadio& radio) { radio.writeIP(address); });
}
void HpsdrRadio_writeMac(HpsdrRadio* h, int32_t tail) {
  larch::queueOnObject<larch::HpsdrRadio>(h, "HpsdrRadio.writeMac()", [=](larch::HpsdrRadio& radio) { radio.writeMac(tail); });
}
void HpsdrRadio_writeStatus(HpsdrRadio* h, int32_t status) {
  larch::queueOnObject<larch::HpsdrRadio>(h, "HpsdrRadio.writeStatus()", [=](larch::HpsdrRadio& radio) { radio.writeStatus(status); });
}
