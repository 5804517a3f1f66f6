#include "sim/speechSynth.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include "sim/randomSource.h"

namespace larch::sim {

namespace {
constexpr double voiceRate_Hz = 16000;
constexpr size_t formants = 3;

// a two-pole resonance with gain 1 at its middle
struct resonator {
  double a1 = 0, a2 = 0, gain = 0, y1 = 0, y2 = 0;
  void tune(double frequency_Hz, double bandwidth_Hz) {
    const double r = std::exp(-M_PI * bandwidth_Hz / voiceRate_Hz), w = 2 * M_PI * frequency_Hz / voiceRate_Hz;
    a1 = 2 * r * std::cos(w);
    a2 = -r * r;
    gain = (1 - r) * std::sqrt(1 - 2 * r * std::cos(2 * w) + r * r);
  }
  double run(double x) {
    const double y = gain * x + a1 * y1 + a2 * y2;
    y2 = y1;
    y1 = y;
    return y;
  }
};

struct vowel {
  std::array<double, formants> frequency_Hz;
};
constexpr vowel vowels[] = {{{730, 1090, 2440}}, {{270, 2290, 3010}}, {{300, 870, 2240}},
                            {{530, 1840, 2480}}, {{570, 840, 2410}},  {{490, 1350, 1690}}};
constexpr double formantBandwidth_Hz[formants] = {80, 100, 140}, formantLevel[formants] = {1, 0.6, 0.35};

// one syllable: a hiss, then a vowel that swells and fades
void addSyllable(std::vector<float>& out, randomSource& random, double& pitchPhase) {
  const vowel& v = vowels[random.below(std::size(vowels))];
  const double length_s = 0.12 + 0.14 * random.uniform(), pitch_Hz = 95 + 50 * random.uniform();
  const auto hiss = static_cast<size_t>(voiceRate_Hz * 0.05 * random.uniform());
  std::array<resonator, formants> mouth;
  for (size_t f = 0; f < formants; ++f) mouth[f].tune(v.frequency_Hz[f], formantBandwidth_Hz[f]);
  resonator teeth;
  teeth.tune(2400, 1200);
  for (size_t n = 0; n < hiss; ++n) out.push_back(static_cast<float>(0.25 * teeth.run(2 * random.uniform() - 1)));
  const auto samples = static_cast<size_t>(voiceRate_Hz * length_s);
  for (size_t n = 0; n < samples; ++n) {
    const double along = static_cast<double>(n) / static_cast<double>(samples);
    pitchPhase += pitch_Hz * (1.08 - 0.16 * along) / voiceRate_Hz;
    double pulse = 0;
    if (pitchPhase >= 1) {
      pitchPhase -= 1;
      pulse = 20;
    }
    double y = 0;
    for (size_t f = 0; f < formants; ++f) y += formantLevel[f] * mouth[f].run(pulse);
    out.push_back(static_cast<float>(y * std::sin(M_PI * along)));
  }
}

void setPeak(std::vector<float>& samples, float wanted) {
  float peak = 0;
  for (const float v : samples) peak = std::max(peak, std::fabs(v));
  if (peak > 0)
    for (float& v : samples) v *= wanted / peak;
}

// what a program writes to its standard output; empty when it can't be run or fails
std::vector<uint8_t> outputOf(std::vector<std::string> words) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  std::vector<char*> arguments;
  for (std::string& w : words) arguments.push_back(w.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int failed = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::vector<uint8_t> output;
  std::array<uint8_t, 65536> part;
  for (ssize_t got; failed == 0 && (got = read(ends[0], part.data(), part.size())) > 0;)
    output.insert(output.end(), part.begin(), part.begin() + got);
  close(ends[0]);
  if (failed != 0) return {};
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) output.clear();
  return output;
}
} // namespace

std::optional<wavData> espeakSpeech(const std::string& text, const std::string& voice, int wordsPerMinute) {
  const auto file = outputOf({"espeak-ng", "-v", voice, "-s", std::to_string(wordsPerMinute), "--stdout", "--", text});
  try {
    wavData wav = parseWav(file);
    if (wav.channels != 1 || wav.samples.empty()) return std::nullopt;
    return wav;
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

wavData syntheticSpeech(double seconds, uint64_t seed) {
  wavData wav{voiceRate_Hz, 1, {}};
  randomSource random(seed);
  double pitchPhase = 0;
  const auto wanted = static_cast<size_t>(std::max(seconds, 0.1) * voiceRate_Hz);
  while (wav.samples.size() < wanted) {
    const uint64_t syllables = 1 + random.below(4); // a word
    for (uint64_t s = 0; s < syllables; ++s) addSyllable(wav.samples, random, pitchPhase);
    wav.samples.resize(wav.samples.size() + static_cast<size_t>(voiceRate_Hz * (0.06 + 0.2 * random.uniform())));
  }
  wav.samples.resize(wanted);
  setPeak(wav.samples, 0.8F);
  return wav;
}

wavData speech(const std::string& text, const std::string& voice, int wordsPerMinute) {
  if (auto spoken = espeakSpeech(text, voice, wordsPerMinute)) return *std::move(spoken);
  constexpr double charactersPerWord = 6;
  const double seconds = static_cast<double>(text.size()) / charactersPerWord * 60 / std::max(wordsPerMinute, 1);
  return syntheticSpeech(seconds, std::hash<std::string>{}(text));
}

} // namespace larch::sim
