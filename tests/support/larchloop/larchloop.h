// Controls of the test sound card, found by dlsym in the plugin that ALSA has loaded.
#pragma once
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Clock error of all cards on this bus from now on, in ppm; NaN: each card's own configured error again.
void larchloop_ppm(const char* bus, double ppm);
// For that many milliseconds no stream on this bus is woken, as if the machine had other things to do.
void larchloop_stall(const char* bus, int milliseconds);
// While on, opens on this bus fail as a busy device does.
void larchloop_busy(const char* bus, int on);
// The bus time now: 48000 Hz frames of the monotonic clock.
int64_t larchloop_now(void);
// What was played on the bus from frame `at` on: mono (mean of both channels), frames nobody played are 0.
void larchloop_tap(const char* bus, int64_t at, float* out, int count);
// Puts a mono signal on the bus from frame `at` on, as a player would (at most a second ahead of now is sensible).
void larchloop_feed(const char* bus, int64_t at, const float* in, int count);
// Playback and capture streams that are open on this bus now.
int larchloop_open_count(const char* bus);
// Period in frames of the stream that was prepared last on this bus; 0: none yet.
int larchloop_period(const char* bus);

#ifdef __cplusplus
}
#endif
