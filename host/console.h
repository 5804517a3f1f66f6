// Lines on the standard outputs that neither block the station nor get lost unseen.
#pragma once
#include "host/ownOutput.h"
#include <cstdio>
#include <string>

namespace larchhost {

// Lines of text to one output. What finds no room is left out, since a keyed radio can't wait for it; a line that has gone out in
// part is finished before the next.
class lineOutput {
 public:
  explicit lineOutput(int descriptor) : output_(descriptor) {}
  // Throws std::runtime_error when the output has been closed.
  void print(const std::string& line);

 private:
  void writeRest();

  ownOutput output_;
  std::string rest_;
};

// On the program's own stdout or on stderr, past the stream's own buffer; of one thread.
void printLine(std::FILE* file, const std::string& line);

} // namespace larchhost
