#include "host/station.h"
#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>

namespace larchhost {
namespace {

constexpr int32_t noAudio = -1, slowestRate = 48000;
constexpr std::chrono::milliseconds pollPause{5}, longestEnd{2000}, stopTime{100}, withdrawal{100}, lastWord{200};

asyncObject* base(void* handle) { return static_cast<asyncObject*>(handle); }
void ignoreEnd(int32_t) {}

} // namespace

station* station::only = nullptr;

station::station(const stationSettings& settings) : settings_(settings), radio_(settings.board.protocol) {
  if (only) throw std::logic_error("one station a process");
  only = this;
  radio_.setAddress(settings_.address);
  radio_.setBoard(settings_.board, settings_.firmware);
  Radio_setSampleRate(radio_.base(), settings_.rate);
  Radio_setTransceiverOffset(radio_.base(), settings_.transverter);
  Radio_setcanTransmit(radio_.base(), false);
  setGain(settings_.gain_dB);
  radio_.bindReports([](bool on) { only->adcOverload_ = on; }, [](double level) { only->adcPeak_dBFS_ = level; },
                     [](int32_t count) { only->sequenceBreaks_ = count; });
  Radio_bindvtrxAdded(radio_.base(), [](vtrx* handle, int32_t, int32_t) { only->adopt(handle); });
}

station::~station() {
  endTransmission();
  Radio_stop(radio_.base());
  if (transmitter_) transmitter_->detach();
  for (auto& r : receivers_) {
    dropComing(*r);
    if (!r->handle) continue;
    vtrx_bindnewSpectrum(r->handle, [](floatArray* frame, double, double, int32_t) { floatArray_delete(frame); });
    if (r->demodulator) r->mode->detach(r->demodulator);
    vtrx_remove(r->handle);
    vtrx_release(r->handle);
    if (r->demodulator) modDemod_release(r->demodulator);
  }
  pollWhile([this] { return objectsAlive_ > 0; });
  std::this_thread::sleep_for(stopTime); // the stop leaves on the receive thread, behind what waits there; nothing tells of it
  only = nullptr;
}

receiver* station::add(const receiver& wanted) {
  if (receivers_.size() == mostReceivers) throw std::runtime_error("too many receivers");
  receivers_.push_back(std::make_unique<receiver>(wanted));
  receiver& r = *receivers_.back();
  if (!r.mode) r.mode = std::make_shared<speechMode>();
  Radio_addVtrx(radio_.base(), r.frequency, 0);
  return &r;
}

transmitter& station::addTransmitter(receiver& r, const transmitSettings& settings) {
  HpsdrRadio* radio = radio_.transmitting();
  if (!radio && settings.allowed) throw std::runtime_error("Protocol 2 radios only receive");
  transmitter_ = std::make_unique<transmitter>(settings);
  transmitting_ = &r;
  if (radio) transmitter_->prepare(radio);
  return *transmitter_;
}

void station::start() {
  // each transceiver reports itself by the poll and is configured then; the radio starts with all of them in place
  pollWhile([this] { return started_ < receivers_.size(); });
  Radio_start(radio_.base());
}

void station::poll() {
  getUpdates();
  getRenderUpdates();
  changeModes();
  if (transmitter_) transmitter_->update();
}

bool station::endTransmission() {
  if (!transmitter_) return true;
  transmitter_->guard().end();
  if (transmitter_->withdraw()) pollFor(withdrawal);
  poll();
  transmitter_->ask(); // until VOX is off it may key
  pollWhile([this] { return !transmitter_->answered(); });
  for (poll(); !transmitter_->guard().settled(); poll()) std::this_thread::sleep_for(pollPause);
  if (!transmitter_->guard().stuck()) return true;
  Radio_setptt(radio_.base(), false); // the next word to the radio says so, whatever has become of the fall
  pollFor(lastWord);                  // and leaves before the stop, if the radio's stream still runs
  return false;
}

void station::pollWhile(const std::function<bool()>& waiting) {
  const auto end = std::chrono::steady_clock::now() + longestEnd;
  for (; waiting() && std::chrono::steady_clock::now() < end; poll()) std::this_thread::sleep_for(pollPause);
}

void station::pollFor(std::chrono::milliseconds time) {
  for (const auto end = std::chrono::steady_clock::now() + time; std::chrono::steady_clock::now() < end; poll())
    std::this_thread::sleep_for(pollPause);
}

void station::adopt(vtrx* handle) {
  if (adopted_ == receivers_.size()) { // not one of ours: the radio made it by itself
    asyncObject_bindDeleted(base(handle), ignoreEnd);
    vtrx_release(handle);
    return;
  }
  receiver& r = *receivers_[adopted_];
  r.handle = handle;
  objectsAlive_++;
  asyncObject_bindDeleted(base(handle), [](int32_t) { only ? void(only->objectsAlive_--) : void(); });
  bindReceiver(adopted_++, handle);
  configure(r);
}

// The callbacks carry no context: each receiver has functions of its own.
template <size_t n> void station::bindReceiver(vtrx* handle) {
  vtrx_bindsignalStrength(handle, [](double level) { only->takeSignal(*only->receivers_[n], level); });
  vtrx_bindbandwidthSufficient(handle, [](bool enough) { only->receivers_[n]->bandwidthSufficient = enough; });
  vtrx_bindrxagc(handle, [](agc* gain) {
    asyncObject_bindDeleted(base(gain), ignoreEnd);
    agc_release(gain);
  });
  vtrx_bindtxagc(handle, [](agc* gain) {
    asyncObject_bindDeleted(base(gain), ignoreEnd);
    agc_release(gain);
  });
  vtrx_bindnewSpectrum(handle, [](floatArray* frame, double low, double high, int32_t) {
    only->takeFrame(*only->receivers_[n], frame, low, high);
  });
}

void station::bindReceiver(size_t n, vtrx* handle) {
  [&]<size_t... all>(std::index_sequence<all...>) { (void)((n == all && (bindReceiver<all>(handle), true)) || ...); }
  (std::make_index_sequence<mostReceivers>());
}

void station::takeSignal(receiver& r, double level) {
  r.signal_dBm = level;
  // the level comes each 18 blocks of the channel, and the guard counts by those of 48 kHz
  if (&r == transmitting_ && r.reports++ % (r.mode->rate() / slowestRate) == 0) transmitter_->guard().reportSignal();
}

// A point shows what lies one bin of the receiver's stream above its frequency; the trace has it where it belongs.
void station::takeFrame(receiver& r, floatArray* frame, double low, double high) {
  const auto size = static_cast<size_t>(floatArray_size(frame));
  const double bin = (high - low) / static_cast<double>(std::max<size_t>(size, 1)) * std::min(r.zoom, 1.0);
  const std::span<const float> points{floatArray_data(frame), size};
  r.trace.add(points, low + bin, high + bin);
  if (r.frameSeen) r.frameSeen(points, low + bin, high + bin);
  framesSeen_++;
  if (transmitter_) transmitter_->guard().reportFrame();
  floatArray_delete(frame);
}

void station::configure(receiver& r) {
  vtrx_setforegroundDisplay(r.handle, !r.silent);
  if (r.silent)
    vtrx_setaudioOutput(r.handle, noAudio);
  else if (r.audioDevice >= noAudio)
    vtrx_setaudioOutput(r.handle, r.audioDevice);
  vtrx_setmuted(r.handle, r.muted);
  vtrx_setwaterfallSpeed(r.handle, r.waterfallSpeed);
  if (&r == transmitting_) transmitter_->attach(r.handle);
  setMode(r, r.mode, r.side, r.filter);
}

void station::setMode(receiver& r, std::shared_ptr<stationMode> mode, sideband side, filterEdges filter) {
  dropComing(r);
  modDemod* made = mode->create();
  r.coming = {std::move(mode), side, filter, made, ++tickets_};
  asyncObject_bindDeleted(base(made), ignoreEnd);
  asyncObject_bindEcho(base(made), [](int32_t ticket) { only ? only->takeEcho(ticket) : void(); });
  asyncObject_Ping(base(made), tickets_);
}

void station::dropComing(receiver& r) {
  if (!r.coming.demodulator) return;
  r.coming.mode->detach(r.coming.demodulator);
  modDemod_release(r.coming.demodulator);
  r.coming = {};
}

void station::takeEcho(int32_t ticket) {
  for (auto& r : receivers_)
    if (r->coming.ticket == ticket) r->coming.ready = true;
}

void station::changeModes() {
  for (auto& r : receivers_)
    if (r->coming.ready && !(r.get() == transmitting_ && transmitter_->guard().busy())) useMode(*r);
}

void station::useMode(receiver& r) {
  modDemod* before = r.demodulator;
  if (before) r.mode->detach(before);
  r.mode = std::move(r.coming.mode);
  r.side = r.coming.side;
  r.filter = r.coming.filter;
  r.demodulator = r.coming.demodulator;
  r.coming = {};
  vtrx_setModulation(r.handle, r.demodulator);
  showFilter(r);
  if (&r == transmitting_) showTransmitFilter();
  if (before) {
    modDemod_release(before);
  } else {
    vtrx_start(r.handle);
    started_++;
  }
}

void station::showFilter(receiver& r) {
  const signedEdges edges = r.mode->receiveEdges(r.filter, r.side);
  vtrx_setRxFilter(r.handle, edges.low, edges.high);
}

void station::showTransmitFilter() {
  const receiver& r = *transmitting_;
  transmitter_->setEdges(r.mode->transmitEdges(transmitter_->settings().filter, r.side));
}

void station::tune(receiver& r, int32_t frequency) {
  r.frequency = std::max(frequency, 0);
  vtrx_setvfo(r.handle, r.frequency);
}
void station::setSide(receiver& r, sideband side) {
  r.side = side;
  showFilter(r);
  if (&r == transmitting_) showTransmitFilter();
}
void station::setFilter(receiver& r, filterEdges filter) {
  r.filter = filter;
  showFilter(r);
}
void station::setMuted(receiver& r, bool muted) {
  r.muted = muted;
  vtrx_setmuted(r.handle, muted);
}
void station::setZoom(receiver& r, double zoom) {
  r.zoom = zoom;
  vtrx_setspecZoom(r.handle, zoom);
}
void station::setGain(int32_t gain_dB) {
  settings_.gain_dB = std::clamp(gain_dB, settings_.board.minGain_dB, settings_.board.maxGain_dB);
  radio_.setGain(settings_.gain_dB);
}

} // namespace larchhost
