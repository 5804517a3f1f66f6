// Counts what a thread takes by operator new; a program that asks has its operators replaced.
#pragma once
#include <cstdint>

namespace larch::test {

int64_t allocationsOfThisThread();

} // namespace larch::test
