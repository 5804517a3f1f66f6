#include "platform/standardOutput.h"
#include <cerrno>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace larch {

void writeStandardOutput(const char* text, std::size_t count) {
  while (count > 0) {
    const ssize_t written = write(STDOUT_FILENO, text, count);
    if (written > 0) {
      text += written;
      count -= static_cast<std::size_t>(written);
      continue;
    }
    if (written < 0 && errno == EINTR) continue;
    pollfd ready{STDOUT_FILENO, POLLOUT, 0};
    if (written == 0 || errno != EAGAIN || poll(&ready, 1, -1) < 0) return;
  }
}

void blockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace larch
