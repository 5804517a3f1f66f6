// A way of the program's own to one of its standard outputs, on which nothing waits.
#pragma once
#include <cstddef>
#include <sys/types.h>

namespace larchhost {

// Where the program's own standard output leads: descriptor 1, where the library writes, too, unless one of these has been
// called, once and before anything is written.
int standardOutput();
void silenceLibrary(); // what the library writes ends nowhere
void leaveToLibrary(); // the program writes to stderr, descriptor 1 is the library's alone

// A terminal or a pipe is opened once more, so that what is set here doesn't concern other programs on it; where that isn't
// possible (a terminal of somebody else, a socket), the shared setting is changed and put back at the end. Regular files stay as
// they are: a disk takes what it is given.
class ownOutput {
 public:
  explicit ownOutput(int descriptor);
  ~ownOutput();
  ownOutput(const ownOutput&) = delete;
  ownOutput& operator=(const ownOutput&) = delete;

  // As write(2): at once, also part of it, or -1 with EAGAIN where there is no room.
  ssize_t write(const char* text, size_t size);
  bool waitForRoom(int limit_ms) const; // false: none has come

 private:
  int descriptor_;
  int flagsBefore_ = -1; // of the shared description; below 0: it wasn't touched
};

} // namespace larchhost
