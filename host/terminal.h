// The terminal of the program: its size, single keys, and a screen that is given back as it was.
#pragma once
#include "host/keyDecoder.h"
#include "host/ownOutput.h"
#include <cstddef>
#include <string>

namespace larchhost {

// Takes the terminal over (alternate screen, no echo, no line mode, no suspend, quit or flow control keys, hidden cursor) until
// it is destroyed. One at a time; signals that end the process leave by the normal way out, so that the destructor runs. A
// terminal that doesn't take what is shown, a remote one whose line is cut, holds the program up for 0.2 s a picture, a slow one
// for a second.
class terminal {
 public:
  terminal();
  ~terminal();
  terminal(const terminal&) = delete;
  terminal& operator=(const terminal&) = delete;

  keyPress readKey();                     // at once; key::none when none waits, or not all of it
  bool closed() const { return closed_; } // seen when reading or writing: nobody is there any more
  int columns() const;
  int rows() const;
  void show(const std::string& frame); // the whole screen from its top left corner

  static bool attached(); // both input and output are terminals, and it is this program that they are for
  static bool trueColour();

 private:
  void write(const char* text, size_t size);

  ownOutput output_;
  keyDecoder keys_;
  bool closed_ = false;
};

} // namespace larchhost
