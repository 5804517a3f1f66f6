// What a picture in the terminal says of a transmission.
#pragma once
#include "host/sendLine.h"
#include "host/transmitter.h"
#include <string>

namespace larchhost {

// "ON AIR  2:59 left  drive 100"; how: what else is to be said of a transmission, such as "KEY".
std::string stateText(const transmitter& sender, const std::string& how = {});
std::string stateColour(const transmitGuard& guard); // for the terminal; empty while receiving
// The end of what has gone out, dimmed, and what is still to go, in `room` columns behind what the line is about to do.
std::string lineText(const sendLine& line, size_t room);

} // namespace larchhost
