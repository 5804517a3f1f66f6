// Exports of the speech modes AM and FM.
#include "runtime/larchlib.h"
#include "modes/amModDemod.h"
#include "modes/fmModDemod.h"
#include "runtime/exportRows.h"

LARCH_LIFE(amModDemod)
LARCH_SCALAR(amModDemod, compression, double)

LARCH_LIFE(fmModDemod)
LARCH_SCALAR(fmModDemod, compression, double)
LARCH_SCALAR(fmModDemod, deviation, double)
LARCH_SCALAR(fmModDemod, CTCSS, double)
LARCH_SCALAR(fmModDemod, MaxDeviation, double)
