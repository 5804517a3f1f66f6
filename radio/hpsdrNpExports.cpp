// Exports of the Protocol 2 radio.
#include "runtime/larchlib.h"
#include "radio/HpsdrNpRadio.h"
#include "runtime/exportRows.h"

LARCH_LIFE(HpsdrNpRadio)
LARCH_COLLECTION(HpsdrNpRadio, SampleRates, ValueLabelItem)
LARCH_TEXT(HpsdrNpRadio, Mac)
LARCH_TEXT(HpsdrNpRadio, ipAddress)
LARCH_SCALAR(HpsdrNpRadio, txGain, int32_t)
LARCH_SCALAR(HpsdrNpRadio, rxGain, int32_t)
LARCH_SCALAR(HpsdrNpRadio, maxTxRFGain, int32_t)
LARCH_SCALAR(HpsdrNpRadio, minTxRFGain, int32_t)
LARCH_SCALAR(HpsdrNpRadio, maxRxRFGain, int32_t)
LARCH_SCALAR(HpsdrNpRadio, minRxRFGain, int32_t)
LARCH_SCALAR(HpsdrNpRadio, clockFrequency, int32_t)
LARCH_SCALAR(HpsdrNpRadio, frequencyCalibration, double)
LARCH_SCALAR(HpsdrNpRadio, autoFreqCalib, bool)
LARCH_SCALAR(HpsdrNpRadio, FwVersion, int32_t)
LARCH_SCALAR(HpsdrNpRadio, Temp, double)
LARCH_SCALAR(HpsdrNpRadio, Current, double)
LARCH_SCALAR(HpsdrNpRadio, FwdPwr, float)
LARCH_SCALAR(HpsdrNpRadio, RevPwr, float)
LARCH_SCALAR(HpsdrNpRadio, Swr, float)
LARCH_SCALAR(HpsdrNpRadio, adcOvl, bool)
LARCH_SCALAR(HpsdrNpRadio, ep6SeqErrors, int32_t)
LARCH_SCALAR(HpsdrNpRadio, ep4SeqErrors, int32_t)
LARCH_SCALAR(HpsdrNpRadio, adcPeak, double)
LARCH_SCALAR(HpsdrNpRadio, adcPeakDBFS, double)
