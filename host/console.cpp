#include "host/console.h"
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <stdexcept>

namespace larchhost {

void printLine(std::FILE* file, const std::string& line) {
  pollfd p{fileno(file), POLLOUT, 0};
  if (poll(&p, 1, 0) == 0) return;
  const std::string text = line + '\n';
  if (std::fwrite(text.data(), 1, text.size(), file) != text.size() || std::fflush(file) != 0)
    throw std::runtime_error(fmt::format("the output is closed: {}", std::strerror(errno)));
}

} // namespace larchhost
