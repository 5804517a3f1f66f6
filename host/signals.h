// What other processes ask of this one: to end, to key, to unkey.
#pragma once

namespace larchhost {

// From now on SIGINT, SIGQUIT, SIGTERM, SIGHUP and SIGXCPU only ask for the end, a closed pipe or a file that has become too long
// is a failed write, and SIGUSR1 and SIGUSR2, which may be meant for another larch, do nothing.
void catchSignals();
bool stopWanted();

// From now on the terminal's signals don't stop the process: it can't unkey a radio while it sleeps.
void ignoreStops();

enum class keyWish { none, key, unkey };
// From now on SIGUSR1 asks for the key down and SIGUSR2 for the key up.
void catchKeySignals();
keyWish takeKeyWish(); // the latest since the last call

} // namespace larchhost
