#include "host/terminal.h"
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace larchhost {
namespace {

termios original;

void writeAll(const char* text, size_t size) {
  while (size > 0) {
    const ssize_t n = write(STDOUT_FILENO, text, size);
    if (n < 0 && errno != EINTR) return;
    if (n > 0) {
      text += n;
      size -= static_cast<size_t>(n);
    }
  }
}
void writeText(const char* text) { writeAll(text, std::strlen(text)); }

winsize size() {
  winsize w{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &w) != 0 || w.ws_col == 0 || w.ws_row == 0) w = {24, 80, 0, 0};
  return w;
}

} // namespace

terminal::terminal() {
  tcgetattr(STDIN_FILENO, &original);
  termios raw = original;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VMIN] = 0;
  raw.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  writeText("\033[?1049h\033[?25l\033[2J");
}

terminal::~terminal() {
  writeText("\033[0m\033[?25h\033[?1049l");
  tcsetattr(STDIN_FILENO, TCSANOW, &original);
}

keyPress terminal::readKey() const {
  pollfd p{STDIN_FILENO, POLLIN, 0};
  if (poll(&p, 1, 0) <= 0) return {};
  char c[3] = {};
  if (read(STDIN_FILENO, c, 1) != 1) return {};
  if (c[0] != '\033') return {key::other, c[0]};
  if (read(STDIN_FILENO, c + 1, 2) != 2 || c[1] != '[') return {};
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

void terminal::show(const std::string& frame) const {
  const std::string all = "\033[H" + frame;
  writeAll(all.data(), all.size());
}

bool terminal::attached() { return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO); }

bool terminal::trueColour() {
  const char* c = std::getenv("COLORTERM");
  return c && (std::strcmp(c, "truecolor") == 0 || std::strcmp(c, "24bit") == 0);
}

} // namespace larchhost
