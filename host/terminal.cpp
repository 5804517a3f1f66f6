#include "host/terminal.h"
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
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
  if (ioctl(standardOutput(), TIOCGWINSZ, &w) != 0 || w.ws_col == 0 || w.ws_row == 0) w = {24, 80, 0, 0};
  return w;
}

} // namespace

terminal::terminal() : output_(standardOutput()) {
  tcgetattr(STDIN_FILENO, &original);
  termios raw = original;
  raw.c_iflag &= ~static_cast<tcflag_t>(IXON);
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VSUSP] = raw.c_cc[VQUIT] = _POSIX_VDISABLE; // a program that sleeps can't unkey a radio
  raw.c_cc[VMIN] = 0;
  raw.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  tcflush(STDIN_FILENO, TCIFLUSH); // what was typed before the picture wasn't meant for it. TCSAFLUSH would wait for the output
  write(takeScreen, std::strlen(takeScreen));
}

terminal::~terminal() {
  write(giveScreen, std::strlen(giveScreen));
  tcsetattr(STDIN_FILENO, TCSANOW, &original);
}

void terminal::write(const char* text, size_t size) {
  const auto end = std::chrono::steady_clock::now() + longestWrite;
  while (size > 0 && !closed_) {
    const ssize_t n = output_.write(text, size);
    if (n > 0) {
      text += n;
      size -= static_cast<size_t>(n);
    } else if (n < 0 && errno == EAGAIN) {
      // the rest of this picture is lost, the next one is whole again
      if (!output_.waitForRoom(stuck_ms) || std::chrono::steady_clock::now() > end) return;
    } else if (n < 0 && errno != EINTR) {
      closed_ = true;
    }
  }
}

keyPress terminal::readKey() {
  const auto now = keyDecoder::clock::now();
  if (const keyPress k = keys_.next(now); k.code != key::none) return k;
  pollfd p{STDIN_FILENO, POLLIN, 0};
  if (poll(&p, 1, 0) <= 0) return {};
  char bytes[64];
  const ssize_t n = read(STDIN_FILENO, bytes, sizeof bytes);
  if (n > 0)
    keys_.add({bytes, static_cast<size_t>(n)}, now);
  else
    closed_ = closed_ || n == 0 || (errno != EINTR && errno != EAGAIN);
  return keys_.next(now);
}

int terminal::columns() const { return size().ws_col; }
int terminal::rows() const { return size().ws_row; }

void terminal::show(const std::string& frame) {
  const std::string all = "\033[H" + frame;
  write(all.data(), all.size());
}

bool terminal::attached() {
  if (!isatty(STDIN_FILENO) || !isatty(standardOutput())) return false;
  const pid_t inFront = tcgetpgrp(STDIN_FILENO); // below 0: a terminal that controls nobody here
  return inFront < 0 || inFront == getpgrp();
}

bool terminal::trueColour() {
  const char* c = std::getenv("COLORTERM");
  return c && (std::strcmp(c, "truecolor") == 0 || std::strcmp(c, "24bit") == 0);
}

} // namespace larchhost
