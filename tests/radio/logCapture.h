// The log of one test. The process has one log file, opened before any thread starts; a capture sees what came since it was made.
#pragma once
#include "runtime/log.h"
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace larch::test {

class logCapture {
 public:
  logCapture() : start_(size()) {}
  std::string text() const {
    std::string all(static_cast<std::size_t>(size() - start_), '\0');
    const ssize_t n = pread(file, all.data(), all.size(), start_);
    all.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return all;
  }
  // how often `words` stands in the log
  int times(const std::string& words) const {
    const std::string all = text();
    int n = 0;
    for (auto at = all.find(words); at != std::string::npos; at = all.find(words, at + words.size())) n++;
    return n;
  }
  bool has(const std::string& words) const { return times(words) > 0; }

 private:
  static int openOnce() {
    const std::string path = "/tmp/larch-log-" + std::to_string(getpid());
    openLog(path, 1);
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    unlink(path.c_str());
    return descriptor;
  }
  static off_t size() {
    struct stat s {};
    fstat(file, &s);
    return s.st_size;
  }
  static inline const int file = openOnce();
  off_t start_;
};

} // namespace larch::test
