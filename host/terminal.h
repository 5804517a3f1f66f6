// The terminal of the program: its size, single keys, and a screen that is given back as it was.
#pragma once
#include <string>

namespace larchhost {

enum class key { none, left, right, up, down, other };

struct keyPress {
  key code = key::none;
  char character = 0; // for key::other
};

// Takes the terminal over (alternate screen, no echo, no line mode, hidden cursor) until it is destroyed. One at a time; signals
// that end the process leave by the normal way out, so that the destructor runs.
class terminal {
 public:
  terminal();
  ~terminal();
  terminal(const terminal&) = delete;
  terminal& operator=(const terminal&) = delete;

  keyPress readKey() const; // at once; key::none when none waits
  int columns() const;
  int rows() const;
  void show(const std::string& frame) const; // the whole screen from its top left corner

  static bool attached(); // both input and output are terminals
  static bool trueColour();
};

} // namespace larchhost
