#include "host/terminal.h"
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace larchhost {
namespace {

constexpr int stuck_ms = 200;
constexpr std::chrono::seconds longestWrite{1};
constexpr const char *takeScreen = "\033[?1049h\033[?25l\033[2J", *giveScreen = "\033[0m\033[?25h\033[?1049l";
termios original;

winsize size() {
  winsize w{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &w) != 0 || w.ws_col == 0 || w.ws_row == 0) w = {24, 80, 0, 0};
  return w;
}

} // namespace

terminal::terminal() {
  const char* name = ttyname(STDOUT_FILENO);
  output_ = name ? open(name, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1;
  if (output_ < 0) output_ = dup(STDOUT_FILENO);
  tcgetattr(STDIN_FILENO, &original);
  termios raw = original;
  raw.c_iflag &= ~static_cast<tcflag_t>(IXON);
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VSUSP] = _POSIX_VDISABLE; // a program that sleeps can't unkey a radio
  raw.c_cc[VMIN] = 0;
  raw.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  write(takeScreen, std::strlen(takeScreen));
}

terminal::~terminal() {
  write(giveScreen, std::strlen(giveScreen));
  tcsetattr(STDIN_FILENO, TCSANOW, &original);
  close(output_);
}

void terminal::write(const char* text, size_t size) {
  const auto end = std::chrono::steady_clock::now() + longestWrite;
  while (size > 0 && !closed_) {
    const ssize_t n = ::write(output_, text, size);
    if (n > 0) {
      text += n;
      size -= static_cast<size_t>(n);
    } else if (n < 0 && errno == EAGAIN) {
      pollfd p{output_, POLLOUT, 0};
      // the rest of this picture is lost, the next one is whole again
      if (poll(&p, 1, stuck_ms) == 0 || std::chrono::steady_clock::now() > end) return;
    } else if (n < 0 && errno != EINTR) {
      closed_ = true;
    }
  }
}

keyPress terminal::readKey() {
  pollfd p{STDIN_FILENO, POLLIN, 0};
  if (poll(&p, 1, 0) <= 0) return {};
  char c[3] = {};
  if (const ssize_t n = read(STDIN_FILENO, c, 1); n != 1) {
    closed_ = closed_ || n == 0 || errno != EINTR;
    return {};
  }
  if (c[0] != '\033') return {key::other, c[0]};
  const ssize_t more = read(STDIN_FILENO, c + 1, 2);
  if (more == 0) return {key::escape, 0};
  if (more != 2 || c[1] != '[') return {};
  for (char& last = c[2]; last >= ' ' && last < '@';) // what stands before the letter that ends a longer sequence
    if (read(STDIN_FILENO, &last, 1) != 1) return {};
  switch (c[2]) {
  case 'A': return {key::up, 0};
  case 'B': return {key::down, 0};
  case 'C': return {key::right, 0};
  case 'D': return {key::left, 0};
  default: return {};
  }
}

int terminal::columns() const { return size().ws_col; }
int terminal::rows() const { return size().ws_row; }

void terminal::show(const std::string& frame) {
  const std::string all = "\033[H" + frame;
  write(all.data(), all.size());
}

bool terminal::attached() { return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO); }

bool terminal::trueColour() {
  const char* c = std::getenv("COLORTERM");
  return c && (std::strcmp(c, "truecolor") == 0 || std::strcmp(c, "24bit") == 0);
}

} // namespace larchhost
