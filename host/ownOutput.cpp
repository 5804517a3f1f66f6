#include "host/ownOutput.h"
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace larchhost {
namespace {

int ownStandardOutput = STDOUT_FILENO;
constexpr int way = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

int openAgain(int descriptor) {
  const char* name = ttyname(descriptor);
  const int own = name ? open(name, way) : -1;
  // the name may be of another mount name space
  return own >= 0 ? own : open(fmt::format("/proc/self/fd/{}", descriptor).c_str(), way);
}

} // namespace

int standardOutput() { return ownStandardOutput; }

void silenceLibrary() {
  const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0), nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (own < 0 || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0)
    throw std::runtime_error(fmt::format("no way for the library's output: {}", std::strerror(errno)));
  close(nowhere);
  ownStandardOutput = own;
}

void leaveToLibrary() { ownStandardOutput = STDERR_FILENO; }

ownOutput::ownOutput(int descriptor) : descriptor_(-1) {
  struct stat kind {};
  fstat(descriptor, &kind);
  if (isatty(descriptor) || S_ISFIFO(kind.st_mode)) descriptor_ = openAgain(descriptor);
  if (descriptor_ >= 0) return;
  descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (S_ISREG(kind.st_mode)) return;
  flagsBefore_ = fcntl(descriptor_, F_GETFL);
  if (flagsBefore_ >= 0) fcntl(descriptor_, F_SETFL, flagsBefore_ | O_NONBLOCK);
}

ownOutput::~ownOutput() {
  if (flagsBefore_ >= 0) fcntl(descriptor_, F_SETFL, flagsBefore_);
  if (descriptor_ >= 0) close(descriptor_);
}

ssize_t ownOutput::write(const char* text, size_t size) { return ::write(descriptor_, text, size); }

bool ownOutput::waitForRoom(int limit_ms) const {
  pollfd p{descriptor_, POLLOUT, 0};
  return poll(&p, 1, limit_ms) != 0;
}

} // namespace larchhost
