// Exports of the modes that send text: Morse, PSK, radioteletype and Hellschreiber.
#include "runtime/larchlib.h"
#include "modes/PskModDemod.h"
#include "modes/RTTYModDemod.h"
#include "modes/cwModDemod.h"
#include "modes/hellschreiberModDemod.h"
#include "runtime/exportRows.h"

#define LARCH_QUEUE_TEXT(X)                                                                                                      \
  void X##_QueueText(X* h, const char* text, uint32_t base) {                                                                    \
    larch::queueOnObject<larch::X>(                                                                                              \
        h, #X ".QueueText()", [bytes = std::string(text ? text : ""), base](larch::X& mode) { mode.queueText(bytes, base); });   \
  }

LARCH_LIFE(cwModDemod)
LARCH_SCALAR(cwModDemod, freq, double)
LARCH_SCALAR(cwModDemod, wpm, double)
LARCH_SCALAR(cwModDemod, swHangTime, int32_t)
LARCH_SCALAR(cwModDemod, sidetoneVolume, double)
LARCH_SCALAR(cwModDemod, rxwpm, double)
LARCH_SCALAR(cwModDemod, dbg1, double)
LARCH_SCALAR(cwModDemod, dbg2, double)
LARCH_EVENT(cwModDemod, sentChars, const char*)
LARCH_EVENT(cwModDemod, newChars, const char*)
LARCH_EVENT(cwModDemod, newDebug, const char*)
LARCH_QUEUE_TEXT(cwModDemod)
void cwModDemod_KeyDown(cwModDemod* h, int32_t) {
  larch::queueOnObject<larch::cwModDemod>(h, "cwModDemod.KeyDown()", [](larch::cwModDemod& mode) { mode.keyDown(); });
}
void cwModDemod_KeyUp(cwModDemod* h, int32_t) {
  larch::queueOnObject<larch::cwModDemod>(h, "cwModDemod.KeyUp()", [](larch::cwModDemod& mode) { mode.keyUp(); });
}

LARCH_LIFE(PskDetector)
LARCH_SCALAR(PskDetector, freq, int32_t)
LARCH_SCALAR(PskDetector, signalStrength, int32_t)
LARCH_SCALAR(PskDetector, activity, int32_t)
LARCH_TEXT(PskDetector, Mode)
LARCH_EVENT(PskDetector, newChars, const char*)
LARCH_EVENT(PskDetector, reset, int32_t)

LARCH_LIFE(PskModDemod)
LARCH_SCALAR(PskModDemod, sigLevel, int32_t)
LARCH_SCALAR(PskModDemod, primaryDetector, int32_t)
LARCH_COLLECTION(PskModDemod, Modes, ValueLabelItem)
LARCH_SCALAR(PskModDemod, mode, int32_t)
LARCH_COLLECTION(PskModDemod, dets, PskDetector)
LARCH_EVENT(PskModDemod, newChars, const char*)
LARCH_EVENT(PskModDemod, sentChars, const char*)
LARCH_QUEUE_TEXT(PskModDemod)

LARCH_LIFE(RTTYModDemod)
LARCH_SCALAR(RTTYModDemod, dbg1, double)
LARCH_SCALAR(RTTYModDemod, dbg2, double)
LARCH_EVENT(RTTYModDemod, sentChars, const char*)
LARCH_EVENT(RTTYModDemod, newChars, const char*)
LARCH_EVENT(RTTYModDemod, newDebug, floatArray*)
LARCH_QUEUE_TEXT(RTTYModDemod)

LARCH_LIFE(hellschreiberModDemod)
LARCH_SCALAR(hellschreiberModDemod, frequencyStep, double)
LARCH_EVENT(hellschreiberModDemod, sentChars, const char*)
LARCH_QUEUE_TEXT(hellschreiberModDemod)
