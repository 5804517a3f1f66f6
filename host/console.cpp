#include "host/console.h"
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <unistd.h>

namespace larchhost {

void lineOutput::print(const std::string& line) {
  writeRest();
  if (!rest_.empty()) return;
  rest_ = line + '\n';
  const size_t size = rest_.size();
  writeRest();
  if (rest_.size() == size) rest_.clear();
}

void lineOutput::writeRest() {
  while (!rest_.empty()) {
    const ssize_t n = output_.write(rest_.data(), rest_.size());
    if (n > 0)
      rest_.erase(0, static_cast<size_t>(n));
    else if (n == 0 || errno == EAGAIN)
      return;
    else if (errno != EINTR)
      throw std::runtime_error(fmt::format("the output is closed: {}", std::strerror(errno)));
  }
}

void printLine(std::FILE* file, const std::string& line) {
  static lineOutput out(standardOutput()), errors(STDERR_FILENO);
  (file == stderr ? errors : out).print(line);
}

} // namespace larchhost
