#include "soundCard.h"
#include <algorithm>
#include <sys/timerfd.h>
#include <unistd.h>

namespace larchloop {
namespace {

constexpr long tick_ns = 1000000;
constexpr float fullScale16 = 32768.f;

char* sampleAt(const snd_pcm_channel_area_t& area, snd_pcm_uframes_t frame) {
  return static_cast<char*>(area.addr) + (area.first + area.step * frame) / 8;
}

} // namespace

struct soundCard::callbacks {
  static soundCard& card(snd_pcm_ioplug_t* io) { return *static_cast<soundCard*>(io->private_data); }

  static int start(snd_pcm_ioplug_t* io) { return card(io).start(), 0; }
  static int stop(snd_pcm_ioplug_t* io) {
    card(io).running_ = false;
    card(io).tick(false);
    return 0;
  }
  static int prepare(snd_pcm_ioplug_t* io) { return card(io).prepare(), 0; }
  static snd_pcm_sframes_t pointer(snd_pcm_ioplug_t* io) {
    soundCard& c = card(io);
    const int64_t hardware = c.position(), application = static_cast<int64_t>(io->appl_ptr);
    const bool broken = c.playing() ? hardware > application : hardware - application > static_cast<int64_t>(io->buffer_size);
    if (c.running_ && broken) return -EPIPE;
    return hardware % static_cast<int64_t>(io->buffer_size);
  }
  static snd_pcm_sframes_t transfer(snd_pcm_ioplug_t* io, const snd_pcm_channel_area_t* areas, snd_pcm_uframes_t offset,
                                    snd_pcm_uframes_t count) {
    return card(io).transfer(areas, offset, count);
  }
  static int swParams(snd_pcm_ioplug_t* io, snd_pcm_sw_params_t* params) {
    return snd_pcm_sw_params_get_avail_min(params, &card(io).wakeAt_);
  }
  static int pollRevents(snd_pcm_ioplug_t* io, pollfd* descriptors, unsigned, unsigned short* revents) {
    uint64_t expirations;
    if (descriptors[0].revents & POLLIN && read(card(io).timer_, &expirations, sizeof expirations) < 0) {
    }
    *revents = card(io).ready();
    return 0;
  }
  static int close(snd_pcm_ioplug_t* io) {
    delete &card(io);
    return 0;
  }
  static const snd_pcm_ioplug_callback_t* table() {
    static const snd_pcm_ioplug_callback_t made = [] {
      snd_pcm_ioplug_callback_t t{};
      t.start = start;
      t.stop = stop;
      t.pointer = pointer;
      t.transfer = transfer;
      t.close = close;
      t.prepare = prepare;
      t.sw_params = swParams;
      t.poll_revents = pollRevents;
      return t;
    }();
    return &made;
  }
};

soundCard::soundCard(const cardSettings& settings)
    : settings_(settings), bus_(soundBus::named(settings.bus)), file_(soundFile::read(settings.file)) {
  timer_ = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
}

soundCard::~soundCard() {
  if (counted_) bus_.openStreams--;
  close(timer_);
}

int soundCard::create(const char* name, snd_pcm_stream_t stream, int mode) {
  io_.version = SND_PCM_IOPLUG_VERSION;
  io_.name = "larch test card";
  io_.callback = callbacks::table();
  io_.private_data = this;
  io_.poll_fd = timer_;
  io_.poll_events = POLLIN;
  io_.flags = SND_PCM_IOPLUG_FLAG_MONOTONIC;
  io_.mmap_rw = 0;
  if (const int refused = snd_pcm_ioplug_create(&io_, name, stream, mode); refused < 0) return refused;

  const unsigned channels = static_cast<unsigned>(stream == SND_PCM_STREAM_PLAYBACK ? settings_.play : settings_.record);
  const unsigned access[] = {SND_PCM_ACCESS_MMAP_INTERLEAVED, SND_PCM_ACCESS_RW_INTERLEAVED};
  const unsigned formats[] = {SND_PCM_FORMAT_FLOAT, SND_PCM_FORMAT_S16};
  const unsigned rate = static_cast<unsigned>(settings_.rate), frameBytes = channels * sizeof(float);
  constexpr unsigned leastPeriod_bytes = 128, leastBuffer_bytes = 256, mostPeriod_bytes = 1 << 18, mostBuffer_bytes = 1 << 20;
  snd_pcm_ioplug_set_param_list(&io_, SND_PCM_IOPLUG_HW_ACCESS, 2, access);
  snd_pcm_ioplug_set_param_list(&io_, SND_PCM_IOPLUG_HW_FORMAT, 2, formats);
  snd_pcm_ioplug_set_param_list(&io_, SND_PCM_IOPLUG_HW_RATE, 1, &rate);
  snd_pcm_ioplug_set_param_minmax(&io_, SND_PCM_IOPLUG_HW_CHANNELS, 1, channels);
  snd_pcm_ioplug_set_param_minmax(&io_, SND_PCM_IOPLUG_HW_PERIOD_BYTES,
                                  std::max(leastPeriod_bytes, static_cast<unsigned>(settings_.period) * frameBytes),
                                  mostPeriod_bytes);
  snd_pcm_ioplug_set_param_minmax(&io_, SND_PCM_IOPLUG_HW_BUFFER_BYTES,
                                  std::max(leastBuffer_bytes, static_cast<unsigned>(settings_.buffer) * frameBytes),
                                  mostBuffer_bytes);
  snd_pcm_ioplug_set_param_minmax(&io_, SND_PCM_IOPLUG_HW_PERIODS, 2, 1024);
  bus_.openStreams++;
  counted_ = true;
  return 0;
}

double soundCard::effectiveRate() const {
  const double shared = bus_.ppm;
  return static_cast<double>(settings_.rate) * (1 + (std::isnan(shared) ? settings_.ppm : shared) * 1e-6);
}

int64_t soundCard::position() {
  if (!running_) return 0;
  const int64_t now = monotonic_ns();
  clock_ += static_cast<double>(now - seen_ns_) * 1e-9 * effectiveRate();
  seen_ns_ = now;
  const int64_t frames = static_cast<int64_t>(clock_);
  return playing() ? frames : frames - frames % static_cast<int64_t>(io_.period_size);
}

void soundCard::tick(bool on) {
  itimerspec period{};
  if (on) period.it_interval.tv_nsec = period.it_value.tv_nsec = tick_ns;
  timerfd_settime(timer_, 0, &period, nullptr);
}

void soundCard::start() {
  seen_ns_ = monotonic_ns();
  busStart_ = busFrameAt(seen_ns_);
  clock_ = 0;
  running_ = true;
  tick(true);
  for (size_t i = 0; i + 1 < beforeStart_.size(); i += 2) play(static_cast<int64_t>(i / 2), beforeStart_[i], beforeStart_[i + 1]);
  beforeStart_.clear();
}

void soundCard::prepare() {
  running_ = false;
  beforeStart_.clear();
  lastLeft_ = lastRight_ = 0;
  bus_.lastPeriod = static_cast<int>(io_.period_size);
  tick(playing());
}

// Frame `frame` of this card's clock onto the bus: one bus frame, or as many as its erring clock makes of it.
void soundCard::play(int64_t frame, float left, float right) {
  const double step = busRate / effectiveRate();
  if (step == 1.0) return bus_.put(busStart_ + frame, left, right);
  const double before = static_cast<double>(frame - 1) * step;
  const int64_t first = static_cast<int64_t>(std::floor(before)) + 1;
  const int64_t last = static_cast<int64_t>(std::floor(static_cast<double>(frame) * step));
  for (int64_t q = first; q <= last; q++) {
    const float x = static_cast<float>((static_cast<double>(q) - before) / step);
    bus_.put(busStart_ + q, lastLeft_ + (left - lastLeft_) * x, lastRight_ + (right - lastRight_) * x);
  }
  lastLeft_ = left;
  lastRight_ = right;
}

float soundCard::recorded(int64_t frame, int channel) const {
  if (!file_.samples.empty()) return file_.at(static_cast<double>(frame) / static_cast<double>(settings_.rate));
  const auto heard = [&](int64_t time) {
    return channel == 0 ? bus_.left(time) : channel == 1 ? bus_.right(time) : bus_.mono(time);
  };
  const double step = busRate / effectiveRate();
  if (step == 1.0) return heard(busStart_ + frame);
  const double place = static_cast<double>(frame) * step;
  const int64_t whole = static_cast<int64_t>(std::floor(place));
  const float x = static_cast<float>(place - static_cast<double>(whole));
  return heard(busStart_ + whole) * (1 - x) + heard(busStart_ + whole + 1) * x;
}

snd_pcm_sframes_t soundCard::transfer(const snd_pcm_channel_area_t* areas, snd_pcm_uframes_t offset, snd_pcm_uframes_t count) {
  const bool isFloat = io_.format == SND_PCM_FORMAT_FLOAT;
  const auto get = [&](unsigned channel, snd_pcm_uframes_t i) {
    const char* at = sampleAt(areas[channel], offset + i);
    return isFloat ? *reinterpret_cast<const float*>(at) : *reinterpret_cast<const int16_t*>(at) / fullScale16;
  };
  const auto set = [&](unsigned channel, snd_pcm_uframes_t i, float value) {
    char* at = sampleAt(areas[channel], offset + i);
    if (isFloat)
      *reinterpret_cast<float*>(at) = value;
    else
      *reinterpret_cast<int16_t*>(at) = static_cast<int16_t>(std::lrint(std::clamp(value, -1.f, 1.f) * (fullScale16 - 1)));
  };
  for (snd_pcm_uframes_t i = 0; i < count; i++) {
    const int64_t frame = static_cast<int64_t>(io_.appl_ptr + i);
    if (!playing()) {
      for (unsigned c = 0; c < io_.channels; c++) set(c, i, recorded(frame, io_.channels == 1 ? 2 : static_cast<int>(c)));
      continue;
    }
    const float left = get(0, i), right = get(io_.channels > 1, i);
    if (running_) {
      play(frame, left, right);
    } else {
      const size_t place = 2 * static_cast<size_t>(frame);
      beforeStart_.resize(std::max(beforeStart_.size(), place + 2));
      beforeStart_[place] = left;
      beforeStart_[place + 1] = right;
    }
  }
  return static_cast<snd_pcm_sframes_t>(count);
}

unsigned short soundCard::ready() {
  if (monotonic_ns() < bus_.stallUntil_ns) return 0;
  if (!running_ && !playing()) return 0;
  const int64_t application = static_cast<int64_t>(io_.appl_ptr), hardware = position();
  const int64_t room = playing() ? hardware + static_cast<int64_t>(io_.buffer_size) - application : hardware - application;
  const bool underrun = running_ && playing() && hardware > application;
  if (room < static_cast<int64_t>(wakeAt_) && !underrun) return 0;
  return playing() ? POLLOUT : POLLIN;
}

} // namespace larchloop
