// Exports of the link to outside modem programs.
#include "runtime/larchlib.h"
#include "link/MultiPskModDemod.h"
#include "runtime/exportRows.h"

LARCH_LIFE(MultiPskModDemod)
LARCH_SCALAR(MultiPskModDemod, connected, bool)
LARCH_SCALAR(MultiPskModDemod, sending, bool)
LARCH_SCALAR(MultiPskModDemod, port, int32_t)
