#include "host/ownOutput.h"
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace larchhost {
namespace {

constexpr int way = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

int openAgain(int descriptor) {
  const char* name = ttyname(descriptor);
  const int own = name ? open(name, way) : -1;
  // the name may be of another mount name space
  return own >= 0 ? own : open(fmt::format("/proc/self/fd/{}", descriptor).c_str(), way);
}

} // namespace

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
