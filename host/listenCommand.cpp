#include "host/commands.h"
#include "host/deviceList.h"
#include "host/iqRecorder.h"
#include "host/screen.h"
#include "host/terminal.h"
#include "host/textValues.h"
#include "host/waterfallPicture.h"
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <thread>

namespace larchhost {
namespace {

using clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds pollPause{4}, picturePause{100}, linePause{1000};
constexpr std::chrono::seconds silenceBeforeWarning{2};
constexpr int32_t steps[] = {10, 100, 500, 1000, 5000, 10000, 100000};
constexpr int32_t filterStep = 100, narrowest = 100, widest = 20000; // Hz
constexpr double peakAbove_dB = 15, peakApart = 300;                 // Hz
constexpr size_t peaksShown = 4;
constexpr double deepestZoom = 64;

std::atomic<bool> stopWanted{false}; // set in a signal handler: lock-free

sideband parseMode(const std::string& text) {
  if (text == "usb") return sideband::upper;
  if (text == "lsb") return sideband::lower;
  throw std::runtime_error(fmt::format("unknown mode '{}': usb or lsb", text));
}

int32_t needFrequency(const std::string& text) {
  const auto frequency = parseFrequency(text);
  if (!frequency) throw std::runtime_error(fmt::format("'{}' is no frequency (7.074M, 7074k, 7074000)", text));
  return *frequency;
}

filterEdges needFilter(const std::string& text) {
  const auto edges = parseFilter(text);
  if (!edges) throw std::runtime_error(fmt::format("'{}' is no filter (200:2900, in Hz)", text));
  filterEdges f{std::min(std::abs(edges->first), std::abs(edges->second)),
                std::max(std::abs(edges->first), std::abs(edges->second))};
  return f;
}

int32_t chooseAudio(const std::string& text, std::string& shown) {
  const deviceLists lists = readDevices();
  if (text.empty()) {
    shown = lists.outputs.size() > 1 ? "default" : "none here";
    return receiver{}.audioDevice;
  }
  const auto device = findDevice(lists.outputs, text);
  if (!device) throw std::runtime_error(fmt::format("no sound output '{}'; see larch devices", text));
  shown = "none";
  for (const auto& d : lists.outputs)
    if (d.id == *device && d.id >= 0) shown = d.name;
  return *device;
}

// The listening itself: the station, its files and what a person sees, in one poll loop.
class session {
 public:
  session(const listenOptions& options, const stationSettings& settings, receiver first, std::string audioName)
      : options_(options), station_(settings), audioName_(std::move(audioName)) {
    shown_.push_back(station_.add(first));
    for (const auto& text : options.also) {
      const size_t colon = text.find(':');
      receiver r = first;
      r.frequency = needFrequency(text.substr(0, colon));
      if (colon != std::string::npos) r.side = parseMode(text.substr(colon + 1));
      r.muted = true; // one ear
      shown_.push_back(station_.add(r));
    }
    if (!options.iq.empty()) {
      recorder_ = std::make_unique<iqRecorder>(options.iq);
      receiver r = first;
      r.silent = true;
      r.mode = std::make_shared<recordingMode>(*recorder_);
      recording_ = station_.add(r);
    }
    step_ = steps[1];
    zoom_ = options.zoom;
  }

  int run() {
    station_.start();
    for (receiver* r : shown_) station_.setZoom(*r, zoom_);
    const bool picture = !options_.plain && terminal::attached();
    std::unique_ptr<terminal> term;
    if (picture) term = std::make_unique<terminal>();
    screen view(terminal::trueColour(), unicode());
    started_ = lastFrame_ = clock::now();
    auto nextPicture = started_ + picturePause, nextLine = started_ + linePause;
    while (!stopWanted && !quit_ && !timeIsUp()) {
      station_.poll();
      if (recorder_) recorder_->pump();
      watchFrames();
      if (term)
        for (keyPress k = term->readKey(); k.code != key::none; k = term->readKey()) press(k, view);
      if (clock::now() >= nextPicture) {
        nextPicture = std::max(nextPicture + picturePause, clock::now());
        takeLevels();
        if (term) showPicture(*term, view);
      }
      if (!term && clock::now() >= nextLine) {
        nextLine = std::max(nextLine + linePause, clock::now());
        showLine();
      }
      std::this_thread::sleep_for(pollPause);
    }
    term.reset();
    return finish();
  }

 private:
  static bool unicode() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"})
      if (const char* value = std::getenv(name); value && *value) return strcasestr(value, "utf") != nullptr;
    return false;
  }
  bool timeIsUp() const {
    return options_.seconds > 0 && clock::now() - started_ > std::chrono::duration<double>(options_.seconds);
  }

  void watchFrames() {
    if (station_.framesSeen() != framesBefore_) {
      framesBefore_ = station_.framesSeen();
      lastFrame_ = clock::now();
      warned_ = false;
      message_.clear();
    } else if (!warned_ && clock::now() - lastFrame_ > silenceBeforeWarning) {
      warned_ = true;
      message_ = "no spectrum for two seconds: the radio is silent";
      if (options_.plain || !terminal::attached()) fmt::print(stderr, "larch: warning: {}\n", message_);
    }
  }

  void takeLevels() {
    receiver& r = *shown_[selected_];
    if (r.trace.empty()) return;
    low_ = r.trace.low();
    high_ = r.trace.high();
    levels_ = r.trace.take();
    picture_.addLine(levels_);
  }

  void showPicture(const terminal& term, screen& view) {
    screenState state;
    state.radio = &station_;
    state.receivers.assign(shown_.begin(), shown_.end());
    state.selected = selected_;
    state.step = step_;
    state.zoom = zoom_;
    state.audio = audioName_;
    state.message = message_;
    if (recorder_)
      state.message += fmt::format("  IQ {:.0f} s{}", static_cast<double>(recorder_->samples()) / 48000,
                                   recorder_->failed() ? " DISK FULL?" : "");
    term.show(view.draw(state, levels_, low_, high_, term.columns(), term.rows()));
  }

  void showLine() {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(clock::now() - started_).count();
    std::string line = fmt::format("{:4} s", seconds);
    for (const receiver* r : shown_)
      line += fmt::format("  {} {} {:.1f} dBm {}{}", frequencyText(r->frequency), r->mode->name(r->side), r->signal_dBm,
                          sMeterText(r->signal_dBm), r->bandwidthSufficient ? "" : " rate too low");
    line += fmt::format("  ADC {:.1f} dBFS{}  breaks {}", station_.adcPeak_dBFS(), station_.adcOverload() ? " OVERLOAD" : "",
                        station_.sequenceBreaks());
    if (recorder_) line += fmt::format("  IQ {:.0f} s", static_cast<double>(recorder_->samples()) / 48000);
    const auto peaks = strongest(levels_, low_, high_, peakAbove_dB, peakApart, peaksShown);
    if (!peaks.empty()) line += "  strongest";
    for (const auto& p : peaks) line += fmt::format(" {} {:.0f}", megahertzText(std::llround(p.frequency)), p.level_dBm);
    fmt::print("{}\n", line);
    std::fflush(stdout);
  }

  void press(const keyPress& k, screen& view) {
    receiver& r = *shown_[selected_];
    if (k.code == key::left) tune(r, r.frequency - step_);
    if (k.code == key::right) tune(r, r.frequency + step_);
    if (k.code == key::up || k.code == key::down) changeStep(k.code == key::up ? 1 : -1);
    if (k.code != key::other) return;
    filterEdges f = r.filter;
    switch (k.character) {
    case 'q': quit_ = true; break;
    case 'm': station_.setSide(r, r.side == sideband::upper ? sideband::lower : sideband::upper); break;
    case '[':
      f.high = std::max(f.high - filterStep, f.low + narrowest);
      station_.setFilter(r, f);
      break;
    case ']':
      f.high = std::min(f.high + filterStep, widest);
      station_.setFilter(r, f);
      break;
    case '-': station_.setGain(station_.settings().gain_dB - 1); break;
    case '+':
    case '=': station_.setGain(station_.settings().gain_dB + 1); break;
    case ' ': station_.setMuted(r, !r.muted); break;
    case '\t':
      selected_ = (selected_ + 1) % shown_.size();
      view.clearWaterfall();
      break;
    case 'z': zoomTo(zoom_ * 2, view); break;
    case 'Z': zoomTo(zoom_ / 2, view); break;
    default: break;
    }
  }
  void tune(receiver& r, int32_t frequency) {
    station_.tune(r, frequency);
    if (recording_ && &r == shown_[0]) station_.tune(*recording_, frequency);
  }
  void changeStep(int by) {
    const auto at = std::find(std::begin(steps), std::end(steps), step_) - std::begin(steps);
    step_ = steps[std::clamp<ptrdiff_t>(at + by, 0, std::ssize(steps) - 1)];
  }
  void zoomTo(double zoom, screen& view) {
    zoom_ = std::clamp(zoom, 0.25, deepestZoom);
    for (receiver* r : shown_) station_.setZoom(*r, zoom_);
    view.clearWaterfall();
  }

  int finish() {
    const uint64_t frames = station_.framesSeen();
    if (!options_.waterfall.empty()) {
      picture_.save(options_.waterfall);
      if (picture_.lines() > 0) fmt::print("waterfall of {} lines in {}\n", picture_.lines(), options_.waterfall);
    }
    if (recorder_) {
      recorder_->pump();
      fmt::print("{:.1f} s of IQ at 48 kHz in {}{}\n", static_cast<double>(recorder_->samples()) / 48000, options_.iq,
                 recorder_->lostBlocks() ? fmt::format(", {} blocks lost", recorder_->lostBlocks()) : "");
      if (recorder_->failed()) throw std::runtime_error(fmt::format("writing {} failed", options_.iq));
    }
    fmt::print("{} spectrum frames, {} sequence breaks\n", frames, station_.sequenceBreaks());
    if (frames == 0) throw std::runtime_error("the radio sent nothing");
    return success;
  }

  const listenOptions& options_;
  std::unique_ptr<iqRecorder> recorder_; // outlives the station, whose signal thread feeds it
  station station_;
  std::vector<receiver*> shown_;
  receiver* recording_ = nullptr;
  size_t selected_ = 0;
  int32_t step_ = 100;
  double zoom_ = 1;
  bool quit_ = false, warned_ = false;
  std::string audioName_, message_;
  clock::time_point started_, lastFrame_;
  uint64_t framesBefore_ = 0;
  std::vector<double> levels_;
  double low_ = 0, high_ = 0;
  waterfallPicture picture_;
};

} // namespace

void catchSignals() {
  struct sigaction action {};
  action.sa_handler = [](int) { stopWanted = true; };
  for (int s : {SIGINT, SIGTERM, SIGHUP}) sigaction(s, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

int listenCommand(const listenOptions& options) {
  receiver first;
  first.frequency = needFrequency(options.frequency);
  first.side = parseMode(options.mode);
  if (!options.filter.empty()) first.filter = needFilter(options.filter);
  const auto rate = parseRate(options.rate);
  if (!rate || *rate > 384000)
    throw std::runtime_error(fmt::format("'{}' is no rate of this radio: 48k, 96k, 192k or 384k", options.rate));
  for (const auto& text : options.also) needFrequency(text.substr(0, text.find(':')));
  std::string audioName;
  first.audioDevice = chooseAudio(options.audio, audioName);
  stationSettings settings = chooseRadio(options.radio);
  settings.rate = *rate;
  settings.transverter = options.transverter_Hz;
  if (options.gain_dB) settings.gain_dB = *options.gain_dB;
  fmt::print("{} at {}: clock {} Hz, {} receivers, gain {} dB, {} samples/s, audio: {}\n", settings.board.name, settings.address,
             settings.board.clockFrequency, settings.board.receivers, settings.gain_dB, settings.rate, audioName);
  std::fflush(stdout);
  return session(options, settings, first, audioName).run();
}

} // namespace larchhost
