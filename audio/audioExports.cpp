// Exports of the library's start.
#include "runtime/larchlib.h"
#include "runtime/library.h"

void init(const char* path, int32_t logMode) { larch::startRuntime(path, logMode); }
