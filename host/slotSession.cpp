#include "host/slotSession.h"
#include "host/console.h"
#include "host/slotClock.h"
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <utility>

namespace larchhost {
namespace {

constexpr uint32_t ourTag = 1;
constexpr size_t keptLines = 12;
constexpr int32_t driveStep = 5;
constexpr char controlD = 'D' - '@';

const char* extension(const slotFormat& format) { return format.c2 ? ".c2" : ".wav"; }

decoderSettings decodersOf(const slotOptions& options) {
  const std::chrono::duration<double> limit(options.decoderLimit_s);
  return {options.decoder, static_cast<size_t>(options.decoders), std::chrono::duration_cast<std::chrono::milliseconds>(limit)};
}

} // namespace

slotSession::slotSession(const slotOptions& options, const slotFormat& format, std::vector<float> tones,
                         const transmitSettings& sending, const stationSettings& settings, const receiver& first, slotMode& mode,
                         const std::string& audioName)
    : receiveSession(options.receive, settings, first, audioName), options_(options), format_(format), tones_(std::move(tones)),
      mode_(mode), sender_(radio().addTransmitter(this->first(), sending)), decoders_(decodersOf(options)),
      message_(!tones_.empty()) {}

void slotSession::polled() {
  takeFiles();
  takeDecoders();
  sendMessage();
  watchMessage();
  if (sender_.guard().stuck()) quit();
  if (!picture() && missing()) quit();
  if (options_.files > 0 && files_ >= options_.files && decoders_.idle()) quit();
}

void slotSession::takeFiles() {
  for (const std::string& told : mode_.takeFiles()) {
    if (options_.files > 0 && files_ >= options_.files) return;
    if (const auto file = slotFile::parse(told, extension(format_)))
      takeFile(*file);
    else
      complain(told + ": a file without its tag");
  }
}

void slotSession::takeFile(const slotFile& file) {
  files_++;
  std::error_code error;
  const auto size = std::filesystem::file_size(file.path, error);
  if (error || size != static_cast<uint64_t>(format_.fileSize())) {
    broken_ = true;
    return complain(file.path + " hasn't been written whole");
  }
  tell(file.path + (file.tag == slotFile::nothingSent ? "" : "  sent"));
  decoders_.add(file.path, file.name());
}

void slotSession::takeDecoders() {
  for (const decoderNews& news : decoders_.poll(decoderQueue::clock::now())) {
    const std::string line = fmt::format("{}: {}", news.file, news.text);
    news.fault ? complain(line) : tell(line);
  }
}

// Not while a slot is so young that the rest of it would be sent in.
void slotSession::sendMessage() {
  if (!message_.waits() || !running() || !slotClock::isForNext(slotClock::now(), format_.period_ms)) return;
  message_.queue(sender_.guard());
  sender_.expect([mode = &mode_] { mode->withdraw(); }); // which outlives the station
  mode_.queue(tones_, ourTag);
}

void slotSession::watchMessage() {
  const transmitGuard& guard = sender_.guard();
  message_.watch(guard);
  if (toldNote_ == guard.note()) return;
  toldNote_ = guard.note();
  if (!toldNote_.empty()) complain(toldNote_);
}

void slotSession::ended() {
  takeFiles();
  decoders_.stop();
  message_.interrupt(sender_.guard());
}

void slotSession::tell(const std::string& line) {
  if (!picture()) printLine(stdout, line);
  lines_.push_back(line);
  if (lines_.size() > keptLines) lines_.pop_front();
}

void slotSession::complain(const std::string& text) {
  if (!picture()) return printLine(stderr, "larch: " + text);
  tell(text);
}

bool slotSession::press(const keyPress& k) {
  const bool busy = sender_.guard().busy();
  if (k.code == key::left || k.code == key::right) return busy; // the frequency stays while it is on the air
  if (k.code == key::escape) {
    message_.interrupt(sender_.guard());
    return sender_.guard().release(), true;
  }
  if (k.code != key::other) return false;
  switch (k.character) {
  case 'm': return true; // there is one mode
  case '<':
  case '>': return sender_.setDrive(sender_.settings().drive + (k.character == '<' ? -driveStep : driveStep)), true;
  case controlD: return quit(), true;
  default: return false;
  }
}

std::string slotSession::state() const {
  const transmitGuard& guard = sender_.guard();
  const char* text = guard.onAir() || guard.keyed() ? "ON AIR"
                     : message_.isAhead()           ? "message waits for its slot"
                     : guard.allowed()              ? "receive"
                                                    : "receive only";
  return fmt::format("{}  drive {}", text, sender_.settings().drive);
}

std::vector<std::string> slotSession::statusLines(int columns) const {
  const auto room = static_cast<size_t>(std::max(columns, 0));
  const transmitGuard& guard = sender_.guard();
  std::vector<std::string> lines{
      fmt::format("slot {:.1f} of {:g} s, {} files, {} decoders at work",
                  static_cast<double>(slotClock::position_ms(slotClock::now(), format_.period_ms)) / 1000,
                  format_.period_ms / 1000.0, files_, decoders_.running())
          .substr(0, room)};
  for (const std::string& line : lines_) lines.push_back(line.substr(0, room));
  lines.resize(1 + keptLines);
  lines.push_back((guard.onAir() ? "\033[1;37;41m" : "") + fmt::format("TX {}  {}", state(), guard.note()).substr(0, room));
  return lines;
}

std::string slotSession::keysText() const {
  return "arrows tune/step  [ ] filter  - + gain  z Z zoom  space mute  Esc end transmission  < > drive  q quit";
}

} // namespace larchhost
