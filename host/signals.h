// What other processes ask of this one: to end, to key, to unkey.
#pragma once

namespace larchhost {

// From now on SIGINT, SIGTERM and SIGHUP only ask for the end, and a closed pipe is a failed write.
void catchSignals();
bool stopWanted();

enum class keyWish { none, key, unkey };
// From now on SIGUSR1 asks for the key down and SIGUSR2 for the key up.
void catchKeySignals();
keyWish takeKeyWish(); // the latest since the last call

} // namespace larchhost
