#include "host/keyInput.h"
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace larchhost {
namespace {

constexpr int mostRecords = 64; // a call: an endless input mustn't keep the radio waiting

std::string openError(const std::string& device, int error) {
  if (error == EACCES)
    return fmt::format("no permission to read {}: join the group that owns it (ls -l {}; often dialout or input)", device,
                       device);
  return fmt::format("can't open the key {}: {}", device, std::strerror(error));
}

bool hasContact(int file) {
  int lines = 0;
  return ioctl(file, TIOCMGET, &lines) == 0;
}

bool sendsEvents(int file) {
  struct stat about {};
  int version = 0;
  return (fstat(file, &about) == 0 && S_ISFIFO(about.st_mode)) || ioctl(file, EVIOCGVERSION, &version) == 0;
}

} // namespace

bool keyContact::change(bool closed, clock::time_point now) {
  if (closed == down_ || now - changed_ < bounce) return false;
  down_ = closed;
  changed_ = now;
  return true;
}

keyInput::keyInput(const std::string& device)
    : name_(device), file_(open(device.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
  if (file_ < 0) throw std::runtime_error(openError(device, errno));
  line_ = hasContact(file_);
  if (line_ || sendsEvents(file_)) return;
  close(file_);
  throw std::runtime_error(fmt::format("{} is no key: neither a serial line with a CTS input nor an input device", device));
}

keyInput::~keyInput() { close(file_); }

std::optional<bool> keyInput::next() {
  if (gone_) return moveTo(false);
  return line_ ? nextOfLine() : nextOfDevice();
}

std::optional<bool> keyInput::nextOfLine() {
  int lines = 0;
  if (ioctl(file_, TIOCMGET, &lines) != 0) {
    gone_ = true;
    return moveTo(false);
  }
  const bool closed = lines & TIOCM_CTS;
  seenOpen_ = seenOpen_ || !closed;
  contact_.change(closed && seenOpen_, keyContact::clock::now());
  return moveTo(contact_.down());
}

std::optional<bool> keyInput::nextOfDevice() {
  for (int i = 0; i < mostRecords && readRecord(); i++) {
    input_event event;
    std::memcpy(&event, record_.data(), sizeof event);
    if (const auto moved = take(event)) return moved;
  }
  return moveTo(pressed_.any());
}

// False when no whole record waits.
bool keyInput::readRecord() {
  if (filled_ == record_.size()) filled_ = 0;
  ssize_t n = 0;
  while (filled_ < record_.size() && (n = read(file_, record_.data() + filled_, record_.size() - filled_)) > 0)
    filled_ += static_cast<size_t>(n);
  if (filled_ == record_.size()) return true;
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return false;
  gone_ = n < 0; // a FIFO that nobody writes to reads as its end, and begins anew with the next writer
  pressed_.reset();
  filled_ = 0;
  return false;
}

std::optional<bool> keyInput::take(const input_event& event) {
  constexpr int released = 0, pressed = 1;
  if (event.type == EV_SYN && event.code == SYN_DROPPED) pressed_.reset(); // what is down now isn't known
  if (event.type == EV_KEY && event.code < pressed_.size() && (event.value == released || event.value == pressed))
    pressed_[event.code] = event.value == pressed;
  return moveTo(pressed_.any());
}

std::optional<bool> keyInput::moveTo(bool down) {
  if (down == down_) return {};
  down_ = down;
  return down;
}

} // namespace larchhost
