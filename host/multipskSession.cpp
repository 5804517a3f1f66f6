#include "host/multipskSession.h"
#include "host/console.h"
#include <algorithm>
#include <stdexcept>

namespace larchhost {

void multipskSession::polled() {
  if (!mode_.watching() && first().demodulator) mode_.watch(first().handle);
  if (!mode_.fault().empty()) throw std::runtime_error(mode_.fault());
  tellNews();
}

void multipskSession::tellNews() {
  if (const auto frequency = mode_.takeFrequency()) first().frequency = *frequency;
  for (const std::string& line : mode_.takeNews()) {
    last_ = line;
    if (!picture()) printLine(stdout, line);
  }
}

void multipskSession::ended() { tellNews(); }

// The mode stays: it has the port.
bool multipskSession::press(const keyPress& k) { return k.code == key::other && k.character == 'm'; }

std::vector<std::string> multipskSession::statusLines(int columns) const {
  const auto room = static_cast<size_t>(std::max(columns, 0));
  return {mode_.state().substr(0, room), last_.substr(0, room)};
}

std::string multipskSession::keysText() const { return "arrows tune/step  [ ] filter  - + gain  z Z zoom  space mute  q quit"; }

} // namespace larchhost
