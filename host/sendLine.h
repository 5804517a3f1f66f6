// What is typed to be sent: kept in step with the library's text queue, which counts what has gone out.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

namespace larchhost {

// Three stretches: gone out; waiting in the queue, which may still be rewritten; held until `release`. `text` and `base` are what
// the queue is given, whole each time, whenever something in it has changed. It may have taken characters of which no report has
// come yet: a character that comes as sent and isn't what stood there was rewritten too late, and takes its place before it.
class sendLine {
 public:
  static constexpr char endSign = '~';       // ends the transmission
  static constexpr size_t mostWaiting = 900; // the queue takes 1023
  static bool hasCode(char c);               // in Morse: letters, digits, blank, . ! ?
  static bool isPlain(char c);               // printable ASCII but for the sign of the end
  using alphabet = bool (*)(char c);

  explicit sendLine(alphabet taken = hasCode) : taken_(taken) {}

  bool type(char c); // false: it has no code, or too much waits
  bool erase();      // the last one typed; false when there is none, or it has gone out
  void release();    // what is held waits now, and so does what is typed from now on; an end that hasn't gone out is taken back
  void end();        // the transmission ends behind what waits; from now on what is typed is held
  void drop();       // everything that hasn't gone out
  bool reportSent(char c); // true: the queue has to be given its text again

  bool live() const { return live_; }
  const std::string& text() const { return text_; }
  uint32_t base() const { return base_; } // characters that had been sent when the text began
  std::string gone() const { return text_.substr(0, goneCount()); }
  std::string waiting() const { return text_.substr(goneCount()); }
  const std::string& held() const { return held_; }

 private:
  size_t goneCount() const { return sent_ - base_; }
  void forgetOld();

  alphabet taken_;
  std::string text_, held_;
  uint32_t base_ = 0, sent_ = 0; // as the library counts, modulo 2^32
  bool live_ = false;
};

} // namespace larchhost
