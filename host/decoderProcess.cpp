#include "host/decoderProcess.h"
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ; // NOLINT(readability-redundant-declaration)

namespace larchhost {
namespace {

constexpr size_t mostRead = 1 << 16; // a call

std::string quoted(const std::string& word) {
  std::string text = "'";
  for (const char c : word) text += c == '\'' ? "'\\''" : std::string(1, c);
  return text + '\'';
}

[[noreturn]] void fail(const char* what, int error) {
  throw std::runtime_error(fmt::format("{}: {}", what, std::strerror(error)));
}

struct spawnSettings {
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t files;

  explicit spawnSettings(int output) {
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&files);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all); // ignored signals would stay so
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, output, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
  }
  ~spawnSettings() {
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
  }
  spawnSettings(const spawnSettings&) = delete;
  spawnSettings& operator=(const spawnSettings&) = delete;
};

bool isShown(char c) { return static_cast<unsigned char>(c) >= ' ' && c != 127; }

} // namespace

std::string decoderCommand(const std::string& command, const std::string& file) {
  std::string text;
  char quote = 0;
  for (size_t i = 0; i < command.size(); i++) {
    const char c = command[i];
    if (c == '{' && command.substr(i, 2) == "{}") {
      text += quote ? quote + quoted(file) + quote : quoted(file); // out of the quotes and in again
      i++;
      continue;
    }
    text += c;
    if (c == '\\' && quote != '\'' && i + 1 < command.size())
      text += command[++i];
    else if (quote)
      quote = c == quote ? 0 : quote;
    else if (c == '\'' || c == '"')
      quote = c;
  }
  return text;
}

decoderProcess::decoderProcess(const std::string& command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("no pipe for a decoder", errno);
  output_ = ends[0];
  fcntl(output_, F_SETFL, O_NONBLOCK);
  const spawnSettings settings(ends[1]);
  std::string shell = "sh", option = "-c", text = command;
  char* words[] = {shell.data(), option.data(), text.data(), nullptr};
  const int error = posix_spawn(&process_, "/bin/sh", &settings.files, &settings.attributes, words, environ);
  close(ends[1]);
  if (error == 0) return;
  close(output_);
  fail("the decoder can't be started", error);
}

decoderProcess::~decoderProcess() {
  if (process_ > 0) {
    kill();
    waitpid(process_, nullptr, 0);
  }
  close(output_);
}

void decoderProcess::read() {
  char some[4096];
  for (size_t all = 0; all < mostRead;) {
    const ssize_t n = ::read(output_, some, sizeof some);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    for (const char c : std::string_view(some, static_cast<size_t>(n)))
      if (isShown(c) || c == '\n' || c == '\t') text_ += c == '\t' ? ' ' : c;
    all += static_cast<size_t>(n);
  }
}

std::vector<std::string> decoderProcess::takeLines() {
  read();
  std::vector<std::string> lines;
  for (size_t end = text_.find('\n'); end != std::string::npos || text_.size() >= longestLine; end = text_.find('\n')) {
    const size_t length = std::min(end, longestLine);
    lines.push_back(text_.substr(0, length));
    text_.erase(0, length + (length == end ? 1 : 0));
  }
  if (process_ < 0 && !text_.empty()) lines.push_back(std::exchange(text_, {}));
  return lines;
}

bool decoderProcess::ended() {
  if (process_ < 0) return true;
  siginfo_t info{};
  const bool known = waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
  if (!known && errno == ECHILD) { // whoever started us has its ends ignored
    process_ = -1;
    return true;
  }
  if (!known || info.si_pid == 0) return false;
  kill(); // while its number is taken: nobody else is meant
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  if (WIFSIGNALED(status))
    fault_ = fmt::format("was ended by signal {}", WTERMSIG(status));
  else if (WEXITSTATUS(status) != 0)
    fault_ = fmt::format("ended with status {}", WEXITSTATUS(status));
  return true;
}

void decoderProcess::ask() {
  if (process_ > 0) ::kill(-process_, SIGTERM);
}

void decoderProcess::kill() {
  if (process_ > 0) ::kill(-process_, SIGKILL);
}

} // namespace larchhost
