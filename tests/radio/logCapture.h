// The log of one test: lines of its own file, read back.
#pragma once
#include "runtime/log.h"
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace larch::test {

class logCapture {
 public:
  logCapture() : path_("/tmp/larch-log-" + std::to_string(getpid()) + "-" + std::to_string(count()++)) { openLog(path_, 1); }
  ~logCapture() {
    openLog("/dev/null", 0);
    std::remove(path_.c_str());
  }
  std::string text() const {
    std::ostringstream all;
    all << std::ifstream(path_).rdbuf();
    return all.str();
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
  static int& count() {
    static int n = 0;
    return n;
  }
  std::string path_;
};

} // namespace larch::test
