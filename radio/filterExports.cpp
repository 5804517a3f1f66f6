// Exports of the rows of filter boards and calibration lines.
#include "runtime/larchlib.h"
#include "radio/J16.h"
#include "radio/J16Filter.h"
#include "runtime/calibLine.h"
#include "runtime/exportRows.h"

LARCH_LIFE(calibLine)
LARCH_SCALAR(calibLine, inp, double)
LARCH_SCALAR(calibLine, outp, double)

LARCH_LIFE(J16)
LARCH_SCALAR(J16, maxfrequency, int32_t)
LARCH_SCALAR(J16, rx, int32_t)
LARCH_SCALAR(J16, tx, int32_t)

LARCH_LIFE(J16Filter)
LARCH_COLLECTION(J16Filter, FilterBands, J16FilterBands)
LARCH_COLLECTION(J16Filter, FilterRx, J16FilterRx)

LARCH_LIFE(J16FilterBands)
LARCH_SCALAR(J16FilterBands, maxfrequency, int32_t)
LARCH_SCALAR(J16FilterBands, tx, int32_t)

LARCH_LIFE(J16FilterRx)
LARCH_SCALAR(J16FilterRx, bands, int32_t)
LARCH_SCALAR(J16FilterRx, rx, int32_t)
