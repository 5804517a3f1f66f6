#include "sim/sceneStations.h"
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <stdexcept>
#include <fmt/format.h>
#include "sim/amSource.h"
#include "sim/answeringSource.h"
#include "sim/fadingSource.h"
#include "sim/fmSource.h"
#include "sim/morseSource.h"
#include "sim/pskSource.h"
#include "sim/recordingSource.h"
#include "sim/rttySource.h"
#include "sim/sceneReader.h"
#include "sim/sceneWords.h"
#include "sim/slotSource.h"
#include "sim/speechSource.h"
#include "sim/speechSynth.h"

namespace larch::sim {

namespace {
std::string besideScene(const std::string& folder, const std::string& file) {
  return (std::filesystem::path(folder) / file).string(); // an absolute file stays as it is
}

struct namedAudio {
  wavData audio;
  std::string name;
};

// What file= or text= says; nothing without them.
namedAudio takeAudio(wordSet& set, const std::string& folder) {
  const std::string file = set.take("file", std::string()), text = set.take("text", std::string());
  const std::string voice = set.take("voice", std::string("en"));
  const auto speed = static_cast<int>(std::clamp(set.take("speed", 160.0), 80.0, 450.0));
  if (!file.empty() && !text.empty()) throw std::runtime_error("file= or text=, not both");
  if (!file.empty()) return {readWav(besideScene(folder, file)), file};
  if (!text.empty()) return {speech(text, voice, speed), text};
  return {};
}

std::shared_ptr<speechSource> makeSpeech(double frequency, double level, sideband side, wordSet& set, const std::string& folder) {
  const double pause = set.take("pause", 2.0);
  const namedAudio said = takeAudio(set, folder);
  if (said.name.empty()) throw std::runtime_error("speech needs file= or text=");
  return std::make_shared<speechSource>(frequency, level, side, said.audio, pause, said.name);
}

std::shared_ptr<signalSource> makeAm(double frequency, double level, wordSet& set, const std::string& folder) {
  const double depth = set.take("depth", 0.8), pause = set.take("pause", 2.0);
  if (depth < 0 || depth > 1) throw std::runtime_error("am needs a depth= from 0 to 1");
  const namedAudio said = takeAudio(set, folder);
  if (said.name.empty()) throw std::runtime_error("am needs file= or text=");
  return std::make_shared<amSource>(frequency, level, said.audio, depth, pause, said.name);
}

std::shared_ptr<signalSource> makeFm(double frequency, double level, wordSet& set, const std::string& folder) {
  constexpr double wideFrom_Hz = 12000, widest_Hz = 1e6, lowestTop_Hz = 1000;
  fmSource::sending what;
  what.deviation_Hz = set.take("deviation", what.deviation_Hz);
  if (what.deviation_Hz >= wideFrom_Hz) what.audio = fmSource::wideAudio;
  what.audio.high_Hz = set.take("audio", what.audio.high_Hz);
  what.audio.emphasis_s = 1e-6 * set.take("emphasis", 1e6 * what.audio.emphasis_s);
  what.ctcss_Hz = set.take("ctcss", what.ctcss_Hz);
  what.testTone_Hz = set.take("tone", what.testTone_Hz);
  what.pause_s = set.take("pause", what.pause_s);
  if (!(what.deviation_Hz > 0) || what.deviation_Hz > widest_Hz || what.audio.high_Hz < lowestTop_Hz ||
      what.audio.high_Hz > widest_Hz || what.audio.emphasis_s < 0 || what.ctcss_Hz < 0 || what.testTone_Hz < 0 ||
      what.testTone_Hz > widest_Hz || what.ctcss_Hz > widest_Hz)
    throw std::runtime_error("fm needs a positive deviation=, an audio= from 1000 on, and no negative numbers");
  const namedAudio said = takeAudio(set, folder);
  if (!said.name.empty() && what.testTone_Hz > 0) throw std::runtime_error("tone= or audio, not both");
  return std::make_shared<fmSource>(frequency, level, what, said.audio, said.name);
}

// Morse unless the mode is a sideband.
std::shared_ptr<signalSource> makeAnswer(double frequency, double level, wordSet& set, const std::string& folder) {
  constexpr double tail_s = 1;       // until it listens again
  constexpr double longEnough_s = 8; // between two calls, for somebody to answer
  const std::string call = set.take("call", std::string()), mode = set.take("mode", std::string("cw"));
  const double wait = set.take("wait", 1.5);
  if (call.empty() || wait < 0) throw std::runtime_error("answer needs call= and no negative wait=");
  if (mode == "usb" || mode == "lsb") {
    const auto words = makeSpeech(frequency, level, mode == "usb" ? sideband::upper : sideband::lower, set, folder);
    return std::make_shared<answeringSource>(words, words->period_s(), wait, call, answeringSource::calling());
  }
  if (mode != "cw") throw std::runtime_error("not understood: mode=" + mode);
  morseSource::sending what;
  what.text = set.take("text", fmt::format("DE {0} {0} GM UR 599 599 = TNX = DE {0} K", call));
  what.wpm = set.take("wpm", what.wpm);
  what.pause_s = tail_s;
  if (what.text.empty() || !(what.wpm > 0)) throw std::runtime_error("answer needs a text and a positive wpm=");
  const auto words = std::make_shared<morseSource>(frequency, level, what);
  answeringSource::calling calls;
  what.text = set.take("cq", std::string());
  what.pause_s = calls.quiet_s = set.take("cq_pause", longEnough_s);
  if (what.pause_s < 0) throw std::runtime_error("answer needs no negative cq_pause=");
  if (!what.text.empty()) calls.words = std::make_shared<morseSource>(frequency, level, what);
  return std::make_shared<answeringSource>(words, words->period_s(), wait, call, calls);
}

std::shared_ptr<signalSource> makeMorse(double frequency, double level, wordSet& set) {
  morseSource::sending what;
  what.text = set.take("text", std::string());
  what.wpm = set.take("wpm", what.wpm);
  what.start_s = set.take("start", what.start_s);
  what.pause_s = set.take("pause", what.pause_s);
  what.rampTime_ms = set.take("ramp", what.rampTime_ms);
  if (what.text.empty() || !(what.wpm > 0)) throw std::runtime_error("cw needs text= and a positive wpm=");
  return std::make_shared<morseSource>(frequency, level, what);
}

std::shared_ptr<signalSource> makePsk(double frequency, double level, wordSet& set) {
  constexpr double worstClock_ppm = 100000;
  pskSource::sending what;
  what.text = set.take("text", std::string());
  what.start_s = set.take("start", what.start_s);
  what.pause_s = set.take("pause", what.pause_s);
  what.rateError_ppm = set.take("rate_error", what.rateError_ppm);
  what.drift_Hz_s = set.take("drift", what.drift_Hz_s);
  const std::string mode = set.take("mode", std::string("bpsk31"));
  if (!parsePskMode(mode, what)) throw std::runtime_error("not understood: mode=" + mode);
  if (what.text.empty() || std::fabs(what.rateError_ppm) > worstClock_ppm)
    throw std::runtime_error("psk needs text= and a rate_error= up to 100000");
  return std::make_shared<pskSource>(frequency, level, what);
}

std::shared_ptr<signalSource> makeRtty(double frequency, double level, wordSet& set) {
  rttySource::sending what;
  what.text = set.take("text", std::string());
  what.shift_Hz = set.take("shift", what.shift_Hz);
  what.baud = set.take("baud", what.baud);
  what.stopBits = set.take("stop", what.stopBits);
  what.reverse = set.takeYes("reverse");
  what.start_s = set.take("start", what.start_s);
  what.pause_s = set.take("pause", what.pause_s);
  if (what.text.empty() || !(what.shift_Hz > 0) || !(what.baud > 0) || !(what.stopBits >= 1))
    throw std::runtime_error("rtty needs text=, a positive shift= and baud=, and a stop= from 1 on");
  return std::make_shared<rttySource>(frequency, level, what);
}

std::shared_ptr<signalSource> makeSlots(double frequency, double level, wordSet& set, const std::string& folder) {
  constexpr double usualPeriod_s = 15, shortestPeriod_s = 0.5;
  const std::string file = set.take("file", std::string());
  const double period = set.take("period", usualPeriod_s), start = set.take("start", 0.0);
  if (file.empty() || period < shortestPeriod_s || period > slotSource::longestPeriod_s || start < 0)
    throw std::runtime_error("wav needs file=, a period= from 0.5 to 3600 and no negative start=");
  return std::make_shared<slotSource>(frequency, level, readSlotFile(besideScene(folder, file), period), period, start, file);
}

std::shared_ptr<signalSource> makeKind(const std::string& kind, double frequency, double level, wordSet& set,
                                       const std::string& folder) {
  if (kind == "carrier") return std::make_shared<carrierSource>(frequency, level, set.take("phase", 0.0) * M_PI / 180);
  if (kind == "cw") return makeMorse(frequency, level, set);
  if (kind == "usb") return makeSpeech(frequency, level, sideband::upper, set, folder);
  if (kind == "lsb") return makeSpeech(frequency, level, sideband::lower, set, folder);
  if (kind == "am") return makeAm(frequency, level, set, folder);
  if (kind == "fm") return makeFm(frequency, level, set, folder);
  if (kind == "psk") return makePsk(frequency, level, set);
  if (kind == "rtty") return makeRtty(frequency, level, set);
  if (kind == "wav") return makeSlots(frequency, level, set, folder);
  if (kind == "answer") return makeAnswer(frequency, level, set, folder);
  if (kind != "iq") throw std::runtime_error("not understood: " + kind);
  const std::string file = set.take("file", std::string()), mirrored = set.take("mirrored", std::string("no"));
  if (file.empty()) throw std::runtime_error("iq needs file=");
  return std::make_shared<recordingSource>(frequency, level, readWav(besideScene(folder, file)), mirrored == "yes", file);
}

// depth in dB, fades a second, and perhaps a seed: the frequency's number if not
std::shared_ptr<signalSource> makeFading(std::shared_ptr<signalSource> signal, const std::string& words) {
  const auto parts = splitAtCommas(words);
  if (parts.size() != 2 && parts.size() != 3) throw std::runtime_error("fade needs two numbers and perhaps a seed");
  const double depth_dB = parseNumber(parts[0]), rate_Hz = parseNumber(parts[1]);
  const double seed = parts.size() == 3 ? parseNumber(parts[2]) : std::round(signal->frequency_Hz());
  if (!(depth_dB > 0) || !(rate_Hz > 0) || !(seed >= 0)) throw std::runtime_error("fade needs positive numbers");
  return std::make_shared<fadingSource>(std::move(signal), depth_dB, rate_Hz, static_cast<uint64_t>(seed));
}
} // namespace

std::shared_ptr<const signalSource> makeSignal(const std::vector<std::string>& words, const std::string& folder) {
  if (words.size() < 3) throw std::runtime_error("a signal needs a frequency and a level");
  const double frequency = parseFrequency_Hz(words[1]), level = parseNumber(words[2]);
  wordSet set(words, 3);
  std::shared_ptr<signalSource> made = makeKind(words[0], frequency, level, set, folder);
  const std::string fade = set.take("fade", std::string());
  if (!fade.empty()) made = makeFading(std::move(made), fade);
  set.finish();
  return made;
}

} // namespace larch::sim
