#include "host/talkSession.h"
#include "host/console.h"
#include "host/signals.h"
#include "host/textValues.h"
#include "host/transmitText.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr int32_t driveStep = 5;
constexpr double meterBottom_dB = -60;
constexpr int micBar = 20;

double micLevel_dB(double level) { return level > 0 ? std::max(20 * std::log10(level), meterBottom_dB) : meterBottom_dB; }

} // namespace

std::string micText(double level) {
  const double dB = micLevel_dB(level);
  return dB <= meterBottom_dB ? "silent" : fmt::format("{:.0f} dB", dB);
}

talkSession::talkSession(const talkOptions& options, const transmitSettings& sending, const stationSettings& settings,
                         const receiver& first, const std::string& audioName, std::string inputName)
    : receiveSession(options.receive, settings, first, audioName), ptt_s_(options.ptt_s),
      wideDeviation_Hz_(deviation(voice::fm, options.receive.voice)), endsByItself_(options.receive.seconds == 0),
      inputName_(std::move(inputName)), sender_(radio().addTransmitter(this->first(), sending)) {
  if (ptt_s_ == 0) script_ = script::over;
}

void talkSession::polled() {
  const keyWish wish = takeKeyWish();
  if (wish == keyWish::key) sender_.guard().press();
  if (wish == keyWish::unkey) sender_.guard().release();
  if (script_ != script::over) keyForAWhile();
  if (sender_.guard().stuck()) quit();
  tellNote();
}

// As a script asks for it: as soon as the radio's stream has come.
void talkSession::keyForAWhile() {
  if (script_ == script::waiting && running()) {
    sender_.guard().press();
    keyedAt_ = clock::now();
    script_ = script::keyed;
  } else if (script_ == script::waiting && missing()) {
    incomplete_ = true;
    quit();
  }
  if (script_ != script::keyed) return;
  const bool done = clock::now() - keyedAt_ >= std::chrono::duration<double>(ptt_s_);
  if (!done && sender_.guard().keyed()) return;
  incomplete_ = !done && !sender_.guard().note().empty(); // else somebody let the key go
  sender_.guard().release();
  script_ = script::over;
  if (endsByItself_) quit();
}

void talkSession::tellNote() {
  if (toldNote_ == sender_.guard().note()) return;
  toldNote_ = sender_.guard().note();
  if (!picture() && !toldNote_.empty()) printLine(stderr, "larch: " + toldNote_);
}

bool talkSession::press(const keyPress& k) {
  const bool busy = sender_.guard().busy();
  if (k.code == key::left || k.code == key::right) return busy; // the frequency stays while it is on the air
  if (k.code != key::other) return false;
  switch (k.character) {
  case 't':
  case ' ': sender_.toggleKey(); return true;
  case 'u': sender_.toggleTune(); return true;
  case 'v': sender_.toggleVox(); return true;
  case 'd': sender_.setDelay(!sender_.delay()); return true;
  case '+':
  case '=': sender_.setDrive(sender_.settings().drive + driveStep); return true;
  case '-': sender_.setDrive(sender_.settings().drive - driveStep); return true;
  case 'm': return busy;
  default: return false;
  }
}

std::string talkSession::state() const {
  const transmitGuard& guard = sender_.guard();
  std::string text = stateText(sender_);
  if (guard.voxWanted()) text += guard.voxActive() ? "  VOX" : "  VOX (off while keyed)";
  if (sender_.delay()) text += "  DELAY";
  if (sender_.meters().radioPtt) text += "  radio's PTT";
  return text;
}

std::string talkSession::statusText() const {
  const transmitMeters& m = sender_.meters();
  std::string text = fmt::format("  {}  mic {}", state(), micText(m.micLevel));
  if (sender_.guard().onAir()) text += fmt::format("  {:.1f} W SWR {:.1f}", m.forward_W, m.swr);
  return text;
}

std::vector<std::string> talkSession::statusLines(int columns) const {
  const transmitMeters& m = sender_.meters();
  const auto room = static_cast<size_t>(std::max(columns, 0));
  const std::string offset =
      sender_.settings().offset ? fmt::format(" at {}", frequencyText(first().frequency + sender_.settings().offset)) : "";
  const std::string words = fmt::format("TX{} {}  {}", offset, state(), sender_.guard().note()).substr(0, room);
  const std::string before = fmt::format("mic {:>6} ", micText(m.micLevel)),
                    after = fmt::format(" {}  {:.1f} W  back {:.1f} W  SWR {:.1f}  {:.0f} mA  {:.0f} C", inputName_, m.forward_W,
                                        m.reverse_W, m.swr, m.current_mA, m.temperature);
  std::string meter = before.substr(0, room);
  if (before.size() + micBar < room)
    meter += levelBar(1 - micLevel_dB(m.micLevel) / meterBottom_dB, micBar, unicode()) +
             after.substr(0, room - before.size() - micBar);
  return {stateColour(sender_.guard()) + words, meter};
}

bool talkSession::offers(voice v) const {
  const bool sendable = v != voice::fm || wideDeviation_Hz_ <= frequencyMode::mostTransmitted;
  return receiveSession::offers(v) && (sendable || !sender_.guard().allowed());
}

std::string talkSession::keysText() const {
  return "t key  u tune  v vox  d delay  - + drive  q quit  arrows tune/step  m [ ] z Z";
}

} // namespace larchhost
