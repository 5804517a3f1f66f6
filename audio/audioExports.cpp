// Exports of the library's start.
#include "runtime/larchlib.h"
#include "audio/deviceLists.h"
#include "dsp/cpuVariant.h"
#include "runtime/library.h"

void init(const char* path, int32_t logMode) {
  larch::selectVariants();
  larch::startRuntime(path, logMode);
  larch::inputDevices(); // made here, on the host's thread: looking for devices takes long
}
