// The two alphabets of radioteletype as the host meets them: what is sent, and where a shift has to be sent again.
#pragma once
#include <string>

namespace larchhost {

constexpr char rttyFiguresMark = 0x0e, rttyLettersMark = 0x0f; // in a text: the library sends the shift, and forgets it

bool isRttyText(char c); // has a code and may be typed: letters in either case, digits, blank and - ' , ! : ( ) + ? & . / =

// What is queued for a character behind `before`. The library's sender shifts when it changes between letters and figures; it
// doesn't shift again behind a blank, a line's end or a pause, where receivers are back at letters. So figures behind these are
// queued with a mark of their own. idle: a pause may lie in between, since nothing waits.
std::string rttyQueued(char c, const std::string& before, bool idle);

} // namespace larchhost
