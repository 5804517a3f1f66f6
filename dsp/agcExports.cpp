// Exports of the gain control.
#include "runtime/larchlib.h"
#include "dsp/agc.h"
#include "runtime/exportRows.h"

LARCH_LIFE(agc)
LARCH_SCALAR(agc, Attack, float)
LARCH_SCALAR(agc, Decay, float)
LARCH_SCALAR(agc, Hang, float)
LARCH_SCALAR(agc, MaxGain, float)
LARCH_SCALAR(agc, Volume, float)
LARCH_SCALAR(agc, Squelch, float)
LARCH_SCALAR(agc, ManualGain, double)
LARCH_SCALAR(agc, Enabled, bool)
