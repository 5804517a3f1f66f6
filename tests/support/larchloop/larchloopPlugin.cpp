// ALSA PCM plugin `larchloop`, the sound card of the tests:
//   pcm_type.larchloop { lib "/path/libasound_module_pcm_larchloop.so" }
//   pcm.NAME { type larchloop  bus "b"  rate 48000  ppm 0.0  play 2  rec 1  period 0  buffer 0  file "recorded instead of the
//   bus" }
#include "larchloop.h"
#include "soundCard.h"

using namespace larchloop;

namespace {

// 0, or -EINVAL for a field that doesn't exist.
int readSettings(snd_config_t* conf, cardSettings& s) {
  snd_config_iterator_t i, next;
  snd_config_for_each(i, next, conf) {
    snd_config_t* node = snd_config_iterator_entry(i);
    const char *id, *text;
    if (snd_config_get_id(node, &id) < 0) continue;
    const std::string key = id;
    if (key == "comment" || key == "type" || key == "hint") continue;
    if (key == "bus") {
      if (snd_config_get_string(node, &text) == 0) s.bus = text;
    } else if (key == "file") {
      if (snd_config_get_string(node, &text) == 0) s.file = text;
    } else if (key == "ppm") {
      if (snd_config_get_ireal(node, &s.ppm) != 0) s.ppm = 0;
    } else {
      long* number = key == "rate"     ? &s.rate
                     : key == "play"   ? &s.play
                     : key == "rec"    ? &s.record
                     : key == "period" ? &s.period
                     : key == "buffer" ? &s.buffer
                                       : nullptr;
      if (!number) return -EINVAL;
      snd_config_get_integer(node, number);
    }
  }
  return 0;
}

} // namespace

extern "C" {

void larchloop_ppm(const char* bus, double ppm) { soundBus::named(bus).ppm = ppm; }
void larchloop_stall(const char* bus, int milliseconds) {
  soundBus::named(bus).stallUntil_ns = monotonic_ns() + milliseconds * 1000000LL;
}
void larchloop_busy(const char* bus, int on) { soundBus::named(bus).busy = on; }
int64_t larchloop_now(void) { return busFrameAt(monotonic_ns()); }
void larchloop_tap(const char* bus, int64_t at, float* out, int count) {
  const soundBus& b = soundBus::named(bus);
  for (int i = 0; i < count; i++) out[i] = b.mono(at + i);
}
void larchloop_feed(const char* bus, int64_t at, const float* in, int count) {
  soundBus& b = soundBus::named(bus);
  for (int i = 0; i < count; i++) b.put(at + i, in[i], in[i]);
}
int larchloop_open_count(const char* bus) { return soundBus::named(bus).openStreams; }
int larchloop_period(const char* bus) { return soundBus::named(bus).lastPeriod; }

SND_PCM_PLUGIN_DEFINE_FUNC(larchloop) {
  (void)root;
  cardSettings settings;
  if (const int bad = readSettings(conf, settings); bad < 0) return bad;
  const long channels = stream == SND_PCM_STREAM_PLAYBACK ? settings.play : settings.record;
  if (channels < 1) return -ENODEV;
  if (!settings.file.empty() && soundFile::read(settings.file).samples.empty()) return -ENOENT;
  if (soundBus::named(settings.bus).busy) return -EBUSY;
  auto* card = new soundCard(settings);
  if (const int refused = card->create(name, stream, mode); refused < 0) {
    delete card;
    return refused;
  }
  *pcmp = card->pcm(); // ALSA owns the card from here on: its close callback deletes it
  return 0;
}
SND_PCM_PLUGIN_SYMBOL(larchloop);
}
