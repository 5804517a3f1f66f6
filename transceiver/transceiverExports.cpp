// Exports of the virtual transceiver.
#include "runtime/larchlib.h"
#include "runtime/exportRows.h"
#include "transceiver/vtrx.h"

LARCH_LIFE(vtrx)
LARCH_SCALAR(vtrx, ptt, bool)
LARCH_SCALAR(vtrx, tune, bool)
LARCH_SCALAR(vtrx, specFreq, int32_t)
LARCH_SCALAR(vtrx, specOffset, int32_t)
LARCH_SCALAR(vtrx, specZoom, double)
LARCH_SCALAR(vtrx, audioInput, int32_t)
LARCH_SCALAR(vtrx, audioOutput, int32_t)
LARCH_SCALAR(vtrx, muted, bool)
LARCH_OBJECT(vtrx, rxagc, agc)
LARCH_OBJECT(vtrx, txagc, agc)
LARCH_SCALAR(vtrx, signalStrength, double)
LARCH_SCALAR(vtrx, foregroundDisplay, bool)
LARCH_SCALAR(vtrx, oversample, int32_t)
LARCH_SCALAR(vtrx, waterfallSpeed, int32_t)
LARCH_SCALAR(vtrx, vfo, int32_t)
LARCH_SCALAR(vtrx, TxOffset, int32_t)
LARCH_SCALAR(vtrx, useResampler, bool)
LARCH_SCALAR(vtrx, micLevel, double)
LARCH_SCALAR(vtrx, bandwidthSufficient, bool)
LARCH_SCALAR(vtrx, useVox, bool)
LARCH_SCALAR(vtrx, VoxThreshold, double)
LARCH_SCALAR(vtrx, VoxHold, double)
LARCH_SCALAR(vtrx, drive, int32_t)
LARCH_SCALAR(vtrx, ADCs, int32_t)
LARCH_SCALAR(vtrx, ADC1Gain, double)
LARCH_SCALAR(vtrx, ADC1Phase, double)
LARCH_SCALAR(vtrx, DelayAudio, bool)
LARCH_EVENT(vtrx, newSpectrum, floatArray* frame, double low, double high, int32_t rate)

void vtrx_start(vtrx* h) {
  larch::queueOnObject<larch::vtrx>(h, "vtrx.start()", [](larch::vtrx& object) { object.start(); });
}
void vtrx_remove(vtrx* h) {
  larch::queueOnObject<larch::vtrx>(h, "vtrx.remove()", [](larch::vtrx& object) { object.remove(); });
}
void vtrx_setModulation(vtrx* h, modDemod* mode) {
  larch::queueOnObject<larch::vtrx>(
      h, "vtrx.setModulation()",
      [next = larch::objectOf<larch::modDemod>(mode)](larch::vtrx& object) { object.setModulation(next); });
}
void vtrx_setRxFilter(vtrx* h, int32_t low, int32_t high) {
  larch::queueOnObject<larch::vtrx>(h, "vtrx.setRxFilter()", [=](larch::vtrx& object) { object.setRxFilter(low, high); });
}
void vtrx_setTxFilter(vtrx* h, int32_t low, int32_t high) {
  larch::queueOnObject<larch::vtrx>(h, "vtrx.setTxFilter()", [=](larch::vtrx& object) { object.setTxFilter(low, high); });
}
void vtrx_setRxFrequency(vtrx* h, int32_t frequency) {
  larch::queueOnObject<larch::vtrx>(h, "vtrx.setRxFrequency()", [=](larch::vtrx& object) { object.setRxFrequency(frequency); });
}
