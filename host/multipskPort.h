// Whether a TCP port is really this process's: the library's link reports a number also when it could have none.
#pragma once
#include <cstdint>

namespace larchhost {

// Where the system doesn't show a process its files it is believed to.
bool listensAt(int32_t port);

} // namespace larchhost
