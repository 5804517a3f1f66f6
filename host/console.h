// Lines on the standard outputs that neither block the station nor get lost unseen.
#pragma once
#include <cstdio>
#include <string>

namespace larchhost {

// Prints the line and flushes. Where the reader doesn't keep up the line is left out, since a keyed radio can't wait for it.
// Throws std::runtime_error when the output has been closed.
void printLine(std::FILE* file, const std::string& line);

} // namespace larchhost
