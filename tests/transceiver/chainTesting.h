// What the tests of a transceiver share: tones, a radio that records what it is asked, a mode that records what it hears.
#pragma once
#include "modes/modDemod.h"
#include "tests/runtime/testGroup.h"
#include "tests/support/testSoundCard.h"
#include "transceiver/vtrx.h"
#include <cmath>
#include <string>
#include <vector>

namespace larch::test {

using cdouble = std::complex<double>;
constexpr double pi = 3.141592653589793;

// A signal `above` Hz over the centre of a receiver, as the chain sees it: mirrored.
inline cbuff mirroredTone(double above, double rate, uint64_t count, double level = 1.0, uint64_t start = 0) {
  cbuff b(count);
  for (uint64_t i = 0; i < count; i++) b.data[i] = std::polar(level, -2 * pi * above / rate * static_cast<double>(start + i));
  return b;
}

inline std::vector<cdouble> samplesOf(const cbuff& b) { return {b.data, b.data + b.count}; }

// Records the requests in order; runs on a group of its own.
class fakeRadio : public radioPort {
 public:
  using radioPort::radioPort;

  void setRxFrequency(int32_t frequency, const std::shared_ptr<vtrx>&, int32_t mask) override {
    asked.push_back("setRxFrequency " + std::to_string(frequency) + " " + std::to_string(mask));
  }
  void setPtt(const std::shared_ptr<vtrx>& t) override { asked.push_back(t->ptt.get() ? "setPtt true" : "setPtt false"); }
  void transmit(cbuff block) override {
    const auto group = samplesOf(block);
    sent.insert(sent.end(), group.begin(), group.end());
    groups++;
  }
  void removeVtrx(const std::shared_ptr<vtrx>& t) override {
    asked.push_back("removeVtrx");
    removed = t;
  }
  std::vector<std::string> take() { return std::exchange(asked, {}); }

  std::vector<std::string> asked;
  std::vector<cdouble> sent;
  int groups = 0;
  std::shared_ptr<vtrx> removed;
};

// Hears blocks and answers with the real part, or with what the test wants; sends a steady value.
class fakeMode : public modDemod {
 public:
  using modDemod::modDemod;

  buff<float> demodulate(const cbuff& block) override {
    const auto samples = samplesOf(block);
    heard.insert(heard.end(), samples.begin(), samples.end());
    blocks++;
    if (swallow) return {};
    buff<float> audio(answerCount ? answerCount : block.count);
    for (uint64_t i = 0; i < audio.count; i++) audio.data[i] = answer;
    spoken = audio;
    return audio;
  }
  void modulate(const cbuff& input, const cbuff& output) override {
    calls.push_back("modulate " + std::to_string(input.count) + " " + std::to_string(output.count));
    microphone.assign(input.data, input.data + input.count);
    for (uint64_t i = 0; i < output.count; i++) output.data[i] = level;
  }
  int32_t sampleRate() override { return rate; }
  void setRxFilter(int32_t low, int32_t high) override { note("setRxFilter", low, high); }
  void setTxFilter(int32_t low, int32_t high) override { note("setTxFilter", low, high); }
  void vfoChanged(int32_t f) override { calls.push_back("vfoChanged " + std::to_string(f)); }
  void attached() override { calls.push_back("attached"); }
  void pttChanged(bool on) override { calls.push_back(on ? "pttChanged true" : "pttChanged false"); }
  std::vector<std::string> take() { return std::exchange(calls, {}); }

  int32_t rate = 48000;
  bool swallow = false;
  float answer = 0.5f;
  uint64_t answerCount = 0; // 0: as the block
  cdouble level = 1.0;
  std::vector<cdouble> heard, microphone;
  buff<float> spoken; // the last audio, which the chain works on in place
  int blocks = 0;
  std::vector<std::string> calls;

 private:
  void note(const char* what, int32_t low, int32_t high) {
    calls.push_back(std::string(what) + " " + std::to_string(low) + " " + std::to_string(high));
  }
};

// A transceiver on a radio, both on groups of one pool without workers.
struct station {
  bool silent = useNoSoundCard(); // unless the test has chosen cards before
  testGroup env;
  std::shared_ptr<syncTask> radioGroup = std::make_shared<syncTask>(env.pool.get());
  std::shared_ptr<fakeRadio> radio = keptByCore(std::make_shared<fakeRadio>(radioGroup));
  std::shared_ptr<vtrx> transceiver = make();
  std::shared_ptr<fakeMode> mode = keptByCore(std::make_shared<fakeMode>(env.group));

  ~station() { env.turns(); } // tasks that wait hold their objects

  std::shared_ptr<vtrx> make() {
    auto t = keptByCore(std::make_shared<vtrx>(env.group));
    t->radio = radio;
    t->init();
    keptByCore(t->rxagc.value);
    keptByCore(t->txagc.value);
    return t;
  }
  void useMode() {
    transceiver->setModulation(mode);
    mode->take();
  }
  void chunk(const cbuff& samples, int32_t centre, int32_t rate, int32_t adc = 0) {
    transceiver->processRxChunk(samples, centre, rate, {}, 0, adc);
  }
};

} // namespace larch::test
