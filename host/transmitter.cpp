#include "host/transmitter.h"
#include "host/signals.h"
#include <algorithm>
#include <stdexcept>
#include <utility>

namespace larchhost {
namespace {

constexpr int32_t mostDrive = 255;
Radio* asRadio(HpsdrRadio* handle) { return reinterpret_cast<Radio*>(handle); }
asyncObject* asObject(vtrx* handle) { return reinterpret_cast<asyncObject*>(handle); }

} // namespace

transmitter* transmitter::only = nullptr;

transmitter::transmitter(const transmitSettings& settings, transmitGuard::timeSource now)
    : settings_(settings), guard_(settings.allowed, settings.timeout, std::move(now), settings.tail) {
  if (only) throw std::logic_error("one transmitter a process");
  only = this;
  settings_.drive = std::clamp(settings_.drive, 0, mostDrive);
  if (settings_.allowed) ignoreStops();
  if (settings_.vox) guard_.wantVox(true);
}

transmitter::~transmitter() { only = nullptr; }

// The functions that are bound may be called once more when the transmitter has gone: what was on its way comes by the next poll.
void transmitter::prepare(HpsdrRadio* radio) {
  radio_ = radio;
  Radio_setcanTransmit(asRadio(radio), settings_.allowed);
  HpsdrRadio_setenablePA(radio, settings_.allowed && settings_.amplifier);
  Radio_bindptt(asRadio(radio), [](bool on) {
    if (only) only->guard_.reportOnAir(on);
  });
  Radio_bindRadioPtt(asRadio(radio), [](bool on) {
    if (only) only->takeRadioPtt(on);
  });
  HpsdrRadio_bindFwdPwr(radio, [](float watts) {
    if (only) only->meters_.forward_W = watts;
  });
  HpsdrRadio_bindRevPwr(radio, [](float watts) {
    if (only) only->meters_.reverse_W = watts;
  });
  HpsdrRadio_bindSwr(radio, [](float ratio) {
    if (only) only->meters_.swr = ratio;
  });
  HpsdrRadio_bindCurrent(radio, [](double current) {
    if (only) only->meters_.current_mA = current;
  });
  HpsdrRadio_bindTemp(radio, [](double temperature) {
    if (only) only->meters_.temperature = temperature;
  });
}

void transmitter::attach(vtrx* handle) {
  handle_ = handle;
  vtrx_bindptt(handle, [](bool on) {
    if (only) only->takePtt(on);
  });
  asyncObject_bindEcho(asObject(handle), [](int32_t ticket) {
    if (only) only->answered_ = ticket;
  });
  vtrx_bindmicLevel(handle, [](double level) {
    if (only) only->meters_.micLevel = level;
  });
  if (settings_.microphone >= 0) vtrx_setaudioInput(handle, settings_.microphone);
  vtrx_setTxOffset(handle, settings_.offset);
  vtrx_setVoxThreshold(handle, settings_.voxThreshold);
  vtrx_setVoxHold(handle, settings_.voxHold_s);
  vtrx_setDelayAudio(handle, settings_.delay);
  vtrx_setdrive(handle, settings_.drive);
}

// VOX has set it, or a mode's own key. What a mode reports while the guard keys for it may have been overtaken by a command
// since: the next command settles it.
void transmitter::takePtt(bool on) {
  if (!guard_.byMode()) commandedKey_ = on;
  if (on && expecting() && !guard_.keyed()) {
    withdraw_ = nullptr;
    guard_.pressForMode(); // refused: the next update lifts the key
  }
  guard_.reportVox(on);
}

void transmitter::takeRadioPtt(bool on) {
  meters_.radioPtt = on;
  if (settings_.radioKeys) on ? void(guard_.press()) : guard_.release();
}

void transmitter::setEdges(signedEdges edges) { vtrx_setTxFilter(handle_, edges.low, edges.high); }

void transmitter::update() {
  guard_.check();
  if (!handle_) return;
  // VOX goes off before the key goes down, and on only after it has come up: they are one property of the transceiver
  if (commandedVox_ && !guard_.voxActive()) vtrx_setuseVox(handle_, commandedVox_ = false);
  if (guard_.keyed() && commandedTune_ != tuning()) vtrx_settune(handle_, commandedTune_ = tuning());
  if (commandedKey_ != guard_.keyed()) vtrx_setptt(handle_, commandedKey_ = guard_.keyed());
  if (!guard_.keyed() && commandedTune_ && guard_.settled()) vtrx_settune(handle_, commandedTune_ = false);
  if (!commandedVox_ && guard_.voxActive()) vtrx_setuseVox(handle_, commandedVox_ = true);
}

void transmitter::detach() { handle_ = nullptr; }

void transmitter::ask() {
  if (handle_) asyncObject_Ping(asObject(handle_), ++asked_);
}

void transmitter::toggleKey() { guard_.byHand() ? guard_.release() : void(guard_.press()); }

void transmitter::toggleTune() {
  if (tuning())
    guard_.release();
  else if (guard_.press())
    tuned_ = guard_.transmissions();
}

void transmitter::expect(std::function<void()> withdraw) { withdraw_ = std::move(withdraw); }

bool transmitter::withdraw() {
  if (!expecting()) return false;
  std::exchange(withdraw_, nullptr)();
  return true;
}

bool transmitter::tuning() const { return guard_.byHand() && tuned_ == guard_.transmissions(); }

void transmitter::setDelay(bool on) {
  settings_.delay = on;
  if (handle_) vtrx_setDelayAudio(handle_, on);
}

void transmitter::setDrive(int32_t drive) {
  settings_.drive = std::clamp(drive, 0, mostDrive);
  if (handle_) vtrx_setdrive(handle_, settings_.drive);
}

} // namespace larchhost
