// One open stream of the test sound card: real time by the monotonic clock, no hardware, daemon or privilege.
#pragma once
#include "soundBus.h"
#include "soundFile.h"
#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>

namespace larchloop {

// As written in the ALSA configuration.
struct cardSettings {
  std::string bus = "loop";
  double ppm = 0;              // clock error of this card
  long rate = 48000;           // Hz, the only one the card has
  long play = 2, record = 2;   // most channels; 0: the direction doesn't exist
  std::string file;            // what it records instead of the bus
  long period = 0, buffer = 0; // smallest sizes in frames; raise them on jittery machines
};

// Float or 16-bit, interleaved. At 48000 Hz and 0 ppm what is played is recorded bit for bit at the same instant; otherwise
// it is interpolated linearly. Used by the thread that uses the ALSA handle; freed by ALSA's close.
class soundCard {
 public:
  explicit soundCard(const cardSettings& settings);
  ~soundCard();
  soundCard(const soundCard&) = delete;
  soundCard& operator=(const soundCard&) = delete;
  int create(const char* name, snd_pcm_stream_t stream, int mode); // 0 or a negative errno
  snd_pcm_t* pcm() const { return io_.pcm; }

 private:
  struct callbacks;             // the C functions that ALSA calls
  double effectiveRate() const; // Hz by this card's erring clock
  int64_t position();           // frames since start by this card's clock; a recorder's moves period by period
  bool playing() const { return io_.stream == SND_PCM_STREAM_PLAYBACK; }
  void tick(bool on); // the poll descriptor becomes readable each millisecond
  void start();
  void prepare();
  void play(int64_t frame, float left, float right);
  float recorded(int64_t frame, int channel) const; // channel 2: mono
  snd_pcm_sframes_t transfer(const snd_pcm_channel_area_t* areas, snd_pcm_uframes_t offset, snd_pcm_uframes_t count);
  unsigned short ready();

  const cardSettings settings_;
  soundBus& bus_;
  const soundFile file_; // recorded from its beginning when the stream starts
  snd_pcm_ioplug_t io_{};
  int timer_ = -1;
  bool running_ = false, counted_ = false;
  int64_t busStart_ = 0, seen_ns_ = 0;
  double clock_ = 0; // frames since start
  snd_pcm_uframes_t wakeAt_ = 1;
  std::vector<float> beforeStart_; // played before the start: stereo frames
  float lastLeft_ = 0, lastRight_ = 0;
};

} // namespace larchloop
