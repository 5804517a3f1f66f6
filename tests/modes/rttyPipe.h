// The process's standard output as a pipe whose other end a test holds.
#pragma once
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace larch::test {

class outputPipe {
 public:
  outputPipe() : kept_(dup(STDOUT_FILENO)) {
    fflush(stdout);
    if (pipe(ends_) == 0) dup2(ends_[1], STDOUT_FILENO);
  }
  ~outputPipe() {
    closeReader(); // first: a writer that waits goes on
    restore();
  }
  outputPipe(const outputPipe&) = delete;
  outputPipe& operator=(const outputPipe&) = delete;

  void closeReader() {
    if (ends_[0] >= 0) close(ends_[0]);
    ends_[0] = -1;
  }
  void restore() {
    if (kept_ < 0) return;
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
    close(ends_[1]);
    kept_ = -1;
  }
  // Fills it, so that the next write waits. Returns how much is inside.
  size_t stall() {
    const int flags = fcntl(ends_[1], F_GETFL);
    fcntl(ends_[1], F_SETFL, flags | O_NONBLOCK);
    const std::string dots(4096, '.');
    size_t inside = 0;
    for (size_t piece = dots.size(); piece > 0;) {
      const ssize_t n = write(ends_[1], dots.data(), piece);
      if (n > 0)
        inside += static_cast<size_t>(n);
      else
        piece /= 2;
    }
    fcntl(ends_[1], F_SETFL, flags);
    return inside;
  }
  // What there is; waits for it up to a time that only a broken machine needs.
  std::string readSome() {
    pollfd ready{ends_[0], POLLIN, 0};
    char piece[4096];
    if (poll(&ready, 1, 60'000) <= 0) return "";
    const ssize_t n = read(ends_[0], piece, sizeof piece);
    return n > 0 ? std::string(piece, static_cast<size_t>(n)) : "";
  }
  std::string readUntil(const std::string& last) {
    std::string text;
    while (text.find(last) == std::string::npos) {
      const std::string more = readSome();
      if (more.empty()) break;
      text += more;
    }
    return text;
  }

 private:
  int kept_, ends_[2] = {-1, -1};
};

} // namespace larch::test
