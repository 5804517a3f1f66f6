// Exports of the base of all modes, single sideband, proxy and signal generator.
#include "runtime/larchlib.h"
#include "modes/modDemod.h"
#include "modes/proxyModDemod.h"
#include "modes/sigGenModDemod.h"
#include "modes/ssbModDemod.h"
#include "runtime/exportRows.h"

LARCH_LIFE(modDemod)
LARCH_SCALAR(modDemod, rxFreq, int32_t)
LARCH_SCALAR(modDemod, txFreq, int32_t)
LARCH_SCALAR(modDemod, rnnoise, bool)
LARCH_SCALAR(modDemod, rnnoiseSquelch, double)
LARCH_SCALAR(modDemod, db1, int32_t)

LARCH_LIFE(ssbModDemod)
LARCH_SCALAR(ssbModDemod, compression, double)
LARCH_SCALAR(ssbModDemod, UseMicEQ, bool)

LARCH_LIFE(proxyModDemod)
LARCH_EVENT(proxyModDemod, rxChunk, complexArray*)
LARCH_EVENT(proxyModDemod, getTxChunk, complexArray*, complexArray*)

LARCH_LIFE(sigGenModDemod)
LARCH_SCALAR(sigGenModDemod, ampl1, double)
LARCH_SCALAR(sigGenModDemod, ampl2, double)
LARCH_SCALAR(sigGenModDemod, freq2, double)
