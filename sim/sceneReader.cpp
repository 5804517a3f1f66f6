#include "sim/sceneReader.h"
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>
#include <fmt/format.h>
#include "sim/answeringSource.h"
#include "sim/morseSource.h"
#include "sim/recordingSource.h"
#include "sim/speechSource.h"
#include "sim/speechSynth.h"

namespace larch::sim {

namespace {
// the words of a line; "..." holds blanks together, # begins a comment
std::vector<std::string> splitLine(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false, begun = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
      begun = true;
    } else if (!quoted && c == '#') {
      break;
    } else if (!quoted && std::isspace(static_cast<unsigned char>(c)) != 0) {
      if (begun) words.push_back(std::move(word));
      word.clear();
      begun = false;
    } else {
      word += c;
      begun = true;
    }
  }
  if (quoted) throw std::runtime_error("a quotation mark is missing");
  if (begun) words.push_back(std::move(word));
  return words;
}

double parseNumber(const std::string& text) {
  size_t used = 0;
  double v = 0;
  try {
    v = std::stod(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used == 0 || used != text.size() || !std::isfinite(v)) throw std::runtime_error("no number: " + text);
  return v;
}

// the key=value words of a line; each may be asked for once, and none may be left over
class wordSet {
 public:
  wordSet(const std::vector<std::string>& words, size_t first) {
    for (size_t i = first; i < words.size(); ++i) {
      const size_t at = words[i].find('=');
      if (at == std::string::npos) throw std::runtime_error("not understood: " + words[i]);
      values[words[i].substr(0, at)] = words[i].substr(at + 1);
    }
  }
  std::string take(const std::string& key, const std::string& otherwise) {
    const auto it = values.find(key);
    if (it == values.end()) return otherwise;
    std::string v = it->second;
    values.erase(it);
    return v;
  }
  double take(const std::string& key, double otherwise) {
    const std::string v = take(key, std::string());
    return v.empty() ? otherwise : parseNumber(v);
  }
  void finish() const {
    if (!values.empty()) throw std::runtime_error("not understood: " + values.begin()->first);
  }

 private:
  std::map<std::string, std::string> values;
};

std::string besideScene(const std::string& folder, const std::string& file) {
  return (std::filesystem::path(folder) / file).string(); // an absolute file stays as it is
}

std::shared_ptr<speechSource> makeSpeech(double frequency, double level, sideband side, wordSet& set, const std::string& folder) {
  const std::string file = set.take("file", std::string()), text = set.take("text", std::string());
  const std::string voice = set.take("voice", std::string("en"));
  const auto speed = static_cast<int>(std::clamp(set.take("speed", 160.0), 80.0, 450.0));
  const double pause = set.take("pause", 2.0);
  if (file.empty() == text.empty()) throw std::runtime_error("speech needs file= or text=");
  const wavData audio = file.empty() ? speech(text, voice, speed) : readWav(besideScene(folder, file));
  return std::make_shared<speechSource>(frequency, level, side, audio, pause, file.empty() ? text : file);
}

// Morse unless the mode is a sideband.
std::shared_ptr<signalSource> makeAnswer(double frequency, double level, wordSet& set, const std::string& folder) {
  constexpr double tail_s = 1; // until it listens again
  const std::string call = set.take("call", std::string()), mode = set.take("mode", std::string("cw"));
  const double wait = set.take("wait", 1.5);
  if (call.empty() || wait < 0) throw std::runtime_error("answer needs call= and no negative wait=");
  if (mode == "usb" || mode == "lsb") {
    const auto words = makeSpeech(frequency, level, mode == "usb" ? sideband::upper : sideband::lower, set, folder);
    return std::make_shared<answeringSource>(words, words->period_s(), wait, call);
  }
  if (mode != "cw") throw std::runtime_error("not understood: mode=" + mode);
  morseSource::sending what;
  what.text = set.take("text", fmt::format("DE {0} {0} GM UR 599 599 = TNX = DE {0} K", call));
  what.wpm = set.take("wpm", what.wpm);
  what.pause_s = tail_s;
  if (what.text.empty() || !(what.wpm > 0)) throw std::runtime_error("answer needs a text and a positive wpm=");
  const auto words = std::make_shared<morseSource>(frequency, level, what);
  return std::make_shared<answeringSource>(words, words->period_s(), wait, call);
}

std::shared_ptr<signalSource> makeSignal(const std::vector<std::string>& words, const std::string& folder) {
  if (words.size() < 3) throw std::runtime_error("a signal needs a frequency and a level");
  const std::string& kind = words[0];
  const double frequency = parseFrequency_Hz(words[1]), level = parseNumber(words[2]);
  wordSet set(words, 3);
  std::shared_ptr<signalSource> made;
  if (kind == "carrier") {
    made = std::make_shared<carrierSource>(frequency, level, set.take("phase", 0.0) * M_PI / 180);
  } else if (kind == "cw") {
    morseSource::sending what;
    what.text = set.take("text", std::string());
    what.wpm = set.take("wpm", what.wpm);
    what.start_s = set.take("start", what.start_s);
    what.pause_s = set.take("pause", what.pause_s);
    what.rampTime_ms = set.take("ramp", what.rampTime_ms);
    if (what.text.empty() || !(what.wpm > 0)) throw std::runtime_error("cw needs text= and a positive wpm=");
    made = std::make_shared<morseSource>(frequency, level, what);
  } else if (kind == "usb" || kind == "lsb") {
    made = makeSpeech(frequency, level, kind == "usb" ? sideband::upper : sideband::lower, set, folder);
  } else if (kind == "answer") {
    made = makeAnswer(frequency, level, set, folder);
  } else if (kind == "iq") {
    const std::string file = set.take("file", std::string()), mirrored = set.take("mirrored", std::string("no"));
    if (file.empty()) throw std::runtime_error("iq needs file=");
    made = std::make_shared<recordingSource>(frequency, level, readWav(besideScene(folder, file)), mirrored == "yes", file);
  } else {
    throw std::runtime_error("not understood: " + kind);
  }
  set.finish();
  return made;
}
} // namespace

double parseFrequency_Hz(const std::string& text) {
  double factor = 1;
  std::string number = text;
  if (!text.empty() && (text.back() == 'k' || text.back() == 'M')) {
    factor = text.back() == 'k' ? 1e3 : 1e6;
    number.pop_back();
  }
  const double f = parseNumber(number) * factor;
  if (f < 0) throw std::runtime_error("no frequency: " + text);
  return std::round(f * 1e3) / 1e3; // 7.1M is 7100000 and no bit less
}

void readScene(std::istream& text, const std::string& name, const std::string& folder, bandScene& scene) {
  std::string line;
  for (int number = 1; std::getline(text, line); ++number) {
    try {
      const std::vector<std::string> words = splitLine(line);
      if (words.empty()) continue;
      if (words[0] != "noise") {
        scene.add(makeSignal(words, folder));
        continue;
      }
      if (words.size() != 2) throw std::runtime_error("noise needs one level");
      scene.setNoise(parseNumber(words[1]));
    } catch (const std::runtime_error& e) {
      throw std::runtime_error(fmt::format("{}:{}: {}", name, number, e.what()));
    }
  }
}

std::shared_ptr<bandScene> makeScene(const std::string& which) {
  auto scene = std::make_shared<bandScene>();
  if (which == "none") return scene;
  if (which == "demo" || which == "carriers") {
    std::istringstream text(which == "demo" ? demoSceneText() : carriersSceneText());
    readScene(text, which, ".", *scene);
    return scene;
  }
  std::ifstream file(which);
  if (!file) throw std::runtime_error(which + ": can't be opened");
  readScene(file, which, std::filesystem::path(which).parent_path().string(), *scene);
  return scene;
}

} // namespace larch::sim
