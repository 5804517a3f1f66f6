// A decoder at work on a file: a shell command of which only the lines are of interest.
#pragma once
#include <string>
#include <sys/types.h>
#include <vector>

namespace larchhost {

// The command with each {} replaced by the file's name in such quotes that the shell takes it for one word, wherever it stands.
std::string decoderCommand(const std::string& command, const std::string& file);

// Runs in a process group of its own, with nothing to read and both its outputs read here; nothing of it waits. Destroyed, it is
// killed with all its descendants and reaped.
class decoderProcess {
 public:
  static constexpr size_t longestLine = 1000; // what is longer goes on in the next one

  explicit decoderProcess(const std::string& command); // throws std::runtime_error
  ~decoderProcess();
  decoderProcess(const decoderProcess&) = delete;
  decoderProcess& operator=(const decoderProcess&) = delete;

  // The lines that have come since the last call; behind the end also one without its end. Control characters are left out.
  std::vector<std::string> takeLines();
  // Looks whether it has ended; what is left of its descendants is killed then. Its last lines are still there to be taken.
  bool ended();
  std::string fault() const { return fault_; } // after the end: "ended with status 1", "was ended by signal 9"; empty: status 0
  void ask();                                  // to end: SIGTERM
  void kill();

 private:
  void read();

  pid_t process_ = -1; // below 0: reaped
  int output_ = -1;
  std::string text_, fault_;
};

} // namespace larchhost
