// Exports of the modes without text of their own: FSK, timed slots and chirp.
#include "runtime/larchlib.h"
#include "modes/JTModDemod.h"
#include "modes/chirpyModDemod.h"
#include "modes/fskModDemod.h"
#include "runtime/exportRows.h"

LARCH_LIFE(fskModDemod)
LARCH_SCALAR(fskModDemod, f0, int32_t)
LARCH_SCALAR(fskModDemod, f1, int32_t)
LARCH_SCALAR(fskModDemod, baud, int32_t)

LARCH_LIFE(JTModDemod)
LARCH_TEXT(JTModDemod, saveDirectory)
LARCH_SCALAR(JTModDemod, samplesPerSymbol, int32_t)
LARCH_SCALAR(JTModDemod, toneSpacing, double)
LARCH_SCALAR(JTModDemod, samplesPerBlock, int32_t)
LARCH_SCALAR(JTModDemod, endPadding, int32_t)
LARCH_SCALAR(JTModDemod, period, int32_t)
LARCH_SCALAR(JTModDemod, Decimation, int32_t)
LARCH_SCALAR(JTModDemod, SaveMode, int32_t)
LARCH_EVENT(JTModDemod, newFile, const char*)
void JTModDemod_queueMsg(JTModDemod* h, floatArray* tones, uint32_t tag) {
  const auto* array = reinterpret_cast<const larch::buff<float>*>(tones);
  larch::queueOnObject<larch::JTModDemod>(
      h, "JTModDemod.queueMsg()",
      [view = array ? *array : larch::buff<float>(), tag](larch::JTModDemod& mode) { mode.queueMsg(view, tag); });
}

LARCH_LIFE(chirpyModDemod)
