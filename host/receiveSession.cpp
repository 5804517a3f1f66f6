#include "host/receiveSession.h"
#include "host/console.h"
#include "host/optionValues.h"
#include "host/signals.h"
#include "host/textValues.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <thread>

namespace larchhost {
namespace {

constexpr std::chrono::milliseconds pollPause{4}, picturePause{100}, linePause{1000};
constexpr std::chrono::seconds silenceBeforeWarning{2}, longestWait{10};
constexpr int32_t steps[] = {10, 100, 500, 1000, 5000, 10000, 100000};
constexpr int32_t filterStep = 100, wideFilterStep = 5000, narrowest = 100; // Hz
constexpr double peakAbove_dB = 15, peakApart = 300;                        // Hz
constexpr size_t peaksShown = 4;
constexpr int mostKeys = 64; // a poll: an endless input mustn't keep the radio waiting
constexpr double deepestZoom = 64;
constexpr double recordedRate = 48000;

bool unicodeTerminal() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"})
    if (const char* value = std::getenv(name); value && *value) return strcasestr(value, "utf") != nullptr;
  return false;
}

// What a mode that isn't spoken in comes nearest to.
voice spokenBy(const receiver& r) { return r.mode->spoken(r.side).value_or(r.side == sideband::upper ? voice::usb : voice::lsb); }

} // namespace

receiveSession::receiveSession(const listenOptions& options, const stationSettings& settings, const receiver& first,
                               std::string audioName)
    : options_(options), unicode_(unicodeTerminal()), view_(terminal::trueColour(), unicode_), station_(settings),
      firstVoice_(spokenBy(first)), firstFilter_(first.filter), step_(steps[1]), zoom_(options.zoom),
      audioName_(std::move(audioName)) {
  shown_.push_back(station_.add(first));
  for (const auto& text : options.also) {
    const size_t colon = text.find(':');
    receiver r = first;
    r.frequency = needFrequency(text.substr(0, colon));
    const voice v = colon == std::string::npos ? firstVoice_ : needVoice(text.substr(colon + 1));
    r.side = sideOf(v);
    r.filter = filterFor(v);
    r.mode = makeMode(v, options.voice);
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
}

int receiveSession::run() {
  station_.start();
  for (receiver* r : shown_) station_.setZoom(*r, zoom_);
  if (!options_.plain && terminal::attached()) terminal_ = std::make_unique<terminal>();
  started_ = lastFrame_ = clock::now();
  auto nextPicture = started_ + picturePause, nextLine = started_ + linePause;
  while (!stopWanted() && !quit_ && !timeIsUp() && !(terminal_ && terminal_->closed())) {
    station_.poll();
    watchFrames();
    readKeys();
    polled();
    if (clock::now() >= nextPicture) {
      nextPicture = std::max(nextPicture + picturePause, clock::now());
      takeLevels();
      if (terminal_) showPicture();
    }
    if (!terminal_ && clock::now() >= nextLine) {
      nextLine = std::max(nextLine + linePause, clock::now());
      if (saysLines()) showLine();
    }
    std::this_thread::sleep_for(pause());
  }
  const bool ended = station_.endTransmission();
  terminal_.reset();
  this->ended();
  if (!ended) throw std::runtime_error("the radio didn't answer the end of the transmission; it has been sent a stop");
  return finish();
}

bool receiveSession::timeIsUp() const {
  return options_.seconds > 0 && clock::now() - started_ > std::chrono::duration<double>(options_.seconds);
}

bool receiveSession::missing() const { return !running() && clock::now() - started_ > longestWait; }

void receiveSession::watchFrames() {
  if (station_.framesSeen() != framesBefore_) {
    framesBefore_ = station_.framesSeen();
    lastFrame_ = clock::now();
    warned_ = false;
    message_.clear();
  } else if (!warned_ && clock::now() - lastFrame_ > silenceBeforeWarning) {
    warned_ = true;
    message_ = "no spectrum for two seconds: the radio is silent";
    if (!terminal_) printLine(stderr, "larch: warning: " + message_);
  }
}

void receiveSession::readKeys() {
  if (!terminal_) return;
  for (int i = 0; i < mostKeys; i++) {
    const keyPress k = terminal_->readKey();
    if (k.code == key::none) return;
    if (!press(k)) pressReceiver(k);
  }
}

void receiveSession::takeLevels() {
  receiver& r = *shown_[selected_];
  if (r.trace.empty()) return;
  low_ = r.trace.low();
  high_ = r.trace.high();
  levels_ = r.trace.take();
  picture_.addLine(levels_);
}

void receiveSession::showPicture() {
  screenState state;
  state.radio = &station_;
  state.receivers.assign(shown_.begin(), shown_.end());
  state.selected = selected_;
  state.step = step_;
  state.zoom = zoom_;
  state.audio = audioName_;
  state.message = message_;
  if (recorder_)
    state.message += fmt::format("  IQ {:.0f} s{}", static_cast<double>(recorder_->samples()) / recordedRate,
                                 recorder_->failed() ? " DISK FULL?" : "");
  state.further = statusLines(terminal_->columns());
  state.keys = keysText();
  terminal_->show(view_.draw(state, levels_, low_, high_, terminal_->columns(), terminal_->rows()));
}

std::vector<std::string> receiveSession::statusLines(int) const { return {}; }

std::string receiveSession::keysText() const {
  return "arrows tune/step  m mode  [ ] filter  - + gain  z Z zoom  space mute  tab next  q quit";
}

double receiveSession::levelAt(double frequency, double width) const {
  if (levels_.empty() || !(high_ > low_)) return noData_dBm;
  const double points = static_cast<double>(levels_.size()) / (high_ - low_);
  const double from = (frequency - width / 2 - low_) * points, to = (frequency + width / 2 - low_) * points;
  if (!(from >= 0) || !(to < static_cast<double>(levels_.size()))) return noData_dBm;
  return *std::max_element(levels_.begin() + std::lround(std::floor(from)), levels_.begin() + std::lround(std::floor(to)) + 1);
}

std::chrono::milliseconds receiveSession::pause() const { return pollPause; }

void receiveSession::showLine() const {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(clock::now() - started_).count();
  std::string line = fmt::format("{:4} s", seconds);
  for (const receiver* r : shown_)
    line += fmt::format("  {} {} {:.1f} dBm {}{}", frequencyText(r->frequency), r->mode->name(r->side), r->signal_dBm,
                        sMeterText(r->signal_dBm), rateWarning(*r));
  line += fmt::format("  ADC {:.1f} dBFS{}  breaks {}", station_.adcPeak_dBFS(), station_.adcOverload() ? " OVERLOAD" : "",
                      station_.sequenceBreaks());
  line += statusText();
  if (recorder_) line += fmt::format("  IQ {:.0f} s", static_cast<double>(recorder_->samples()) / recordedRate);
  const auto peaks = strongest(levels_, low_, high_, peakAbove_dB, peakApart, peaksShown);
  if (!peaks.empty()) line += "  strongest";
  for (const auto& p : peaks) line += fmt::format(" {} {:.0f}", megahertzText(std::llround(p.frequency)), p.level_dBm);
  printLine(stdout, line);
}

void receiveSession::pressReceiver(const keyPress& k) {
  receiver& r = *shown_[selected_];
  if (k.code == key::left) tune(r, r.frequency - step_);
  if (k.code == key::right) tune(r, r.frequency + step_);
  if (k.code == key::up || k.code == key::down) changeStep(k.code == key::up ? 1 : -1);
  if (k.code != key::other) return;
  filterEdges f = r.filter;
  const int32_t widest = r.mode->widestFilter(), step = widest > widestChannel ? wideFilterStep : filterStep;
  switch (k.character) {
  case 'q': quit_ = true; break;
  case 'm': changeVoice(r); break;
  case '[':
    f.high = std::max(f.high - step, f.low + narrowest);
    station_.setFilter(r, f);
    break;
  case ']':
    f.high = std::min(f.high + step, widest);
    station_.setFilter(r, f);
    break;
  case '-': station_.setGain(station_.settings().gain_dB - 1); break;
  case '+':
  case '=': station_.setGain(station_.settings().gain_dB + 1); break;
  case ' ': station_.setMuted(r, !r.muted); break;
  case '\t':
    selected_ = (selected_ + 1) % shown_.size();
    view_.clearWaterfall();
    break;
  case 'z': zoomTo(zoom_ * 2); break;
  case 'Z': zoomTo(zoom_ / 2); break;
  default: break;
  }
}

// What was asked for holds for the mode that it was asked for with.
filterEdges receiveSession::filterFor(voice v) const {
  const bool same = v == firstVoice_ || (onOneSide(v) && onOneSide(firstVoice_));
  return same ? firstFilter_ : receptionFilter(v, options_.voice);
}

bool receiveSession::offers(voice v) const { return neededRate(v) <= station_.settings().rate; }

void receiveSession::changeVoice(receiver& r) {
  const bool coming = r.coming.demodulator;
  const auto now = coming ? r.coming.mode->spoken(r.coming.side) : r.mode->spoken(r.side);
  const auto next = [&](voice v) { return voices[(static_cast<size_t>(v) + 1) % std::size(voices)]; };
  voice v = now ? next(*now) : spokenBy(r) == voice::usb ? voice::lsb : voice::usb;
  while (now && !offers(v)) v = next(v);
  if (!coming && onOneSide(v) && onOneSide(now.value_or(v))) return station_.setSide(r, sideOf(v));
  station_.setMode(r, makeMode(v, options_.voice), sideOf(v), filterFor(v));
}

void receiveSession::tune(receiver& r, int32_t frequency) {
  station_.tune(r, frequency);
  if (recording_ && &r == shown_[0]) station_.tune(*recording_, frequency);
}

void receiveSession::changeStep(int by) {
  const auto at = std::find(std::begin(steps), std::end(steps), step_) - std::begin(steps);
  step_ = steps[std::clamp<ptrdiff_t>(at + by, 0, std::ssize(steps) - 1)];
}

void receiveSession::zoomTo(double zoom) {
  zoom_ = std::clamp(zoom, 0.25, deepestZoom);
  for (receiver* r : shown_) station_.setZoom(*r, zoom_);
  view_.clearWaterfall();
}

std::string receiveSession::saveWaterfall(const std::string& path) const {
  picture_.save(path);
  return picture_.lines() > 0 ? fmt::format("{} lines", picture_.lines()) : "";
}

int receiveSession::finish() {
  const uint64_t frames = station_.framesSeen();
  if (!options_.waterfall.empty())
    if (const std::string what = saveWaterfall(options_.waterfall); !what.empty())
      printLine(stdout, fmt::format("waterfall of {} in {}", what, options_.waterfall));
  if (recorder_) {
    recorder_->finish();
    printLine(stdout,
              fmt::format("{:.1f} s of IQ at 48 kHz in {}{}", static_cast<double>(recorder_->samples()) / recordedRate,
                          options_.iq, recorder_->lostBlocks() ? fmt::format(", {} blocks lost", recorder_->lostBlocks()) : ""));
    if (recorder_->failed()) throw std::runtime_error(fmt::format("writing {} failed", options_.iq));
  }
  printLine(stdout, fmt::format("{} spectrum frames, {} sequence breaks", frames, station_.sequenceBreaks()));
  if (frames == 0) throw std::runtime_error("the radio sent nothing");
  return success;
}

} // namespace larchhost
