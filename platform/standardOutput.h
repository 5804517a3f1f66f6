// The process's standard output, past the buffers of its streams.
#pragma once
#include <cstddef>

namespace larch {

// Waits as long as the reader does: not rt, for a thread of its own. Text that nobody can read any more is lost.
void writeStandardOutput(const char* text, std::size_t count);

// The calling thread handles none of the process's signals; a reader that has gone is an error there, not a signal.
void blockSignals();

} // namespace larch
