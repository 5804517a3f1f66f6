// A program that a test starts, hears and ends.
#pragma once
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace testHost {

class childProcess {
 public:
  // Both outputs come through one pipe. `environment`: "NAME=value", added to this process's.
  childProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    std::vector<char*> arguments;
    for (const auto& a : command) arguments.push_back(const_cast<char*>(a.c_str()));
    arguments.push_back(nullptr);
    std::vector<std::string> settings = environment;
    for (char** e = environ; *e; e++) settings.push_back(*e); // the first setting of a name counts
    std::vector<char*> variables;
    for (const auto& s : settings) variables.push_back(const_cast<char*>(s.c_str()));
    variables.push_back(nullptr);
    process_ = fork();
    if (process_ == 0) {
      ::signal(SIGINT, SIG_DFL); // whoever started the tests may have it ignored
      dup2(ends[1], 1);
      dup2(ends[1], 2);
      execve(arguments[0], arguments.data(), variables.data());
      _exit(127);
    }
    close(ends[1]);
    out_ = ends[0];
  }
  childProcess(const childProcess&) = delete;
  childProcess& operator=(const childProcess&) = delete;
  ~childProcess() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    close(out_);
  }

  void signal(int number) const { kill(process_, number); }
  const std::string& output() const { return text_; }
  // Reads until the output has `word` or ends; false when neither comes in time, or it ends without.
  bool waitFor(const std::string& word, std::chrono::seconds patience) { return readUntil(&word, patience); }
  // The wait status; -1 when it doesn't end in time.
  int end(std::chrono::seconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    readUntil(nullptr, patience);
    for (;;) {
      int status = 0;
      if (waitpid(process_, &status, WNOHANG) == process_) {
        process_ = -1;
        return status;
      }
      if (std::chrono::steady_clock::now() > deadline) return -1;
      usleep(500);
    }
  }

 private:
  bool readUntil(const std::string* word, std::chrono::seconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!word || text_.find(*word) == std::string::npos) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      pollfd waiting{out_, POLLIN, 0};
      if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0) return false;
      char block[4096];
      const ssize_t n = read(out_, block, sizeof block);
      if (n <= 0) return !word;
      text_.append(block, static_cast<size_t>(n));
    }
    return true;
  }

  pid_t process_ = -1;
  int out_ = -1;
  std::string text_;
};

} // namespace testHost
