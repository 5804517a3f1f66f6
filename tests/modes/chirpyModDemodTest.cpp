#include "modes/chirpyModDemod.h"
#include "tests/modes/chirpCaptureTesting.h"
#include "tests/modes/chirpGolden.h"
#include "tests/modes/chirpTesting.h"
#include "tests/support/allocationCounter.h"
#include "tests/transceiver/chainTesting.h"
#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

constexpr int delay = chirpSamples - 1; // from a chirp's first sample to the peak of its filter

// The system's temporary directory is one of the test's own meanwhile.
class chirpyModDemodTest : public testing::Test {
 protected:
  chirpyModDemodTest() {
    if (const char* old = std::getenv("TMPDIR")) oldTemporary = old;
    setenv("TMPDIR", directory.path.c_str(), 1);
    mode = make();
  }
  ~chirpyModDemodTest() override {
    if (oldTemporary.empty())
      unsetenv("TMPDIR");
    else
      setenv("TMPDIR", oldTemporary.c_str(), 1);
  }
  std::shared_ptr<chirpyModDemod> make() { return keptByCore(std::make_shared<chirpyModDemod>(env.group)); }
  void receive(const std::vector<cdouble>& samples, size_t length = 512) {
    for (size_t at = 0; at < samples.size(); at += length) {
      cbuff block(std::min(length, samples.size() - at));
      std::copy_n(samples.begin() + static_cast<long>(at), block.count, block.data);
      EXPECT_EQ(mode->demodulate(block).count, 0u) << "no audio";
    }
  }
  // What one alignment makes of a signal.
  std::vector<uint32_t> wordsAt(chirpAlignment where, const std::vector<cdouble>& samples) {
    std::vector<uint32_t> words;
    mode->newWord = [&](int32_t slot, const chirpWord& w) {
      if (slot == where.slot && w.phase == where.phase) words.push_back(static_cast<uint32_t>(w.decoded));
    };
    receive(samples);
    mode->newWord = nullptr;
    return words;
  }
  std::vector<cdouble> send(uint64_t n, uint64_t length) {
    std::vector<cdouble> sent;
    while (sent.size() < n) {
      const cbuff out(length, cdouble(9, 9));
      mode->modulate(cbuff(length, 0.25), out);
      sent.insert(sent.end(), out.data, out.data + out.count);
    }
    sent.resize(n);
    return sent;
  }

  std::string oldTemporary;
  emptyDirectory directory;
  testGroup env;
  std::shared_ptr<chirpyModDemod> mode;
};

TEST_F(chirpyModDemodTest, sendsUpAndDownByTurns) {
  for (const uint64_t length : {126, 512, 1, 513}) {
    mode = make();
    const auto sent = send(goldenChirpLength, length);
    for (const goldenChirpSample& g : goldenChirpSamples) {
      EXPECT_NEAR(sent[static_cast<size_t>(g.index)].real(), g.re, 1e-12) << g.index;
      EXPECT_NEAR(sent[static_cast<size_t>(g.index)].imag(), g.im, 1e-12) << g.index;
    }
  }
}

TEST_F(chirpyModDemodTest, chirpsRiseEvenlyOnTheMirroredSide) {
  const auto up = samplesOf(mode->upChirp()), down = samplesOf(mode->downChirp());
  ASSERT_EQ(up.size(), 4096u);
  ASSERT_EQ(down.size(), 4096u);
  for (size_t k = 0; k < 4096; k++) {
    EXPECT_NEAR(std::abs(up[k]), 0.97, 1e-12);
    EXPECT_EQ(down[k], up[(k + 2048) % 4096]);
    EXPECT_NEAR(std::abs(up[k] - 0.97 * chirpAt(true, static_cast<int>(k))), 0, 2e-5) << "the short pi is off by so much";
    if (k > 0) {
      EXPECT_NEAR(-std::arg(up[k] * std::conj(up[k - 1])) * 48000 / (2 * pi), 3000.0 * static_cast<double>(k) / 4096, 1e-3);
    }
  }
}

TEST_F(chirpyModDemodTest, aChirpPeaksInItsOwnFilterWithItsLastSample) {
  for (const bool up : {true, false}) {
    mode = make();
    const int lead = 700;
    std::vector<cdouble> samples(10 * 512);
    for (int k = 0; k < chirpSamples; k++) samples[lead + k] = chirpAt(up, k);
    int n = 0, peakAt = 0;
    double peak = 0, other = 0;
    mode->newWord = [&](int32_t slot, const chirpWord&) {
      const chirpSlot& s = mode->slot(slot);
      EXPECT_EQ(slot, n % 256);
      if (s.difference > peak) {
        peak = s.difference;
        peakAt = n;
        other = up ? s.downLevel : s.upLevel;
      }
      n++;
    };
    receive(samples);
    EXPECT_EQ(n, 10 * 512);
    EXPECT_EQ(peakAt, lead + delay);
    EXPECT_NEAR(peak, 0.97 * 4096, 0.5);
    EXPECT_LT(other, 0.5 * 4096) << "half of it was there half a chirp ago";
  }
}

// The file's lines are what both filters gave: here against plain sums.
TEST_F(chirpyModDemodTest, captureShowsBothFiltersFromFrame160AfterTheFirstTransmission) {
  constexpr int before = 3 * 512, frames = 160 * 256, lines = 7680;
  sim::randomSource random(3);
  std::vector<cdouble> samples(before + frames + lines + 512);
  random.addNoise(samples.data(), samples.size(), 1.0);
  const auto split = samples.begin() + before;
  receive({samples.begin(), split});
  send(126, 126);
  receive({split, samples.end()});
  const auto written = awaitLines(directory.file(), lines);
  EXPECT_EQ(written.size(), static_cast<size_t>(lines));
  const int first = before + frames - 1; // the sample that ends the frame is the first
  for (int i : {0, 1, 255, 256, 511, 4000, 7679}) {
    cdouble up = 0, down = 0;
    for (int k = 0; k < chirpSamples; k++) {
      const cdouble x = samples[first + i - delay + k];
      up += x * std::conj(0.97 * chirpAt(true, k));
      down += x * std::conj(0.97 * chirpAt(false, k));
    }
    double b = 0, a = 0, d = 0;
    ASSERT_EQ(std::sscanf(written[i].c_str(), "%lf, %lf, %lf", &b, &a, &d), 3) << written[i];
    EXPECT_NEAR(b, std::abs(up), 0.01) << i;
    EXPECT_NEAR(a, std::abs(down), 0.01) << i;
    EXPECT_NEAR(d, std::abs(up) - std::abs(down), 0.01) << i;
  }
}

TEST_F(chirpyModDemodTest, withoutATransmissionNothingIsCaptured) {
  receive(std::vector<cdouble>(200 * 256, 0.1));
  mode = make(); // the old one writes what it has
  send(126, 126);
  receive(std::vector<cdouble>(160 * 256 - 512, 0.1));
  mode = nullptr;
  { chirpCapture(directory.path / "other").add(1, 2, 3); }
  awaitLines(directory.path / "other", 1);
  EXPECT_FALSE(std::filesystem::exists(directory.file()));
}

TEST_F(chirpyModDemodTest, aDirectoryThatCantBeWrittenDoesNoHarm) {
  setenv("TMPDIR", "/nowhere/at/all", 1);
  mode = make();
  send(126, 126);
  receive(std::vector<cdouble>(200 * 256, 0.1));
  EXPECT_GT(mode->slot(0).upLevel + mode->slot(0).downLevel, 0.0) << "reception goes on";
}

TEST_F(chirpyModDemodTest, findsTheAlignmentAndReadsEveryWord) {
  for (const int lead : {0, 1, 255, 256, 1000, 5000, 7777}) {
    sim::randomSource random(static_cast<uint64_t>(lead) + 1);
    const auto message = chirpMessage(12, true, random);
    auto samples = chirpSignal(chirpBits(message), lead, 2.0 * lead);
    addChirpNoise(samples, 20, random);
    mode = make();
    const auto where = expectedAlignment(lead);
    auto words = wordsAt(where, samples);
    words.erase(words.begin(), std::search(words.begin(), words.end(), message.begin(), message.end()));
    ASSERT_GE(words.size(), message.size()) << lead;
    // the last word's score is that of the bits that were drawn: look before the noise behind it has its say
    mode = make();
    receive({samples.begin(), samples.begin() + (lead + chirpSamples + (12 * 23 - 1) * chirpSpacing) / 512 * 512});
    const auto found = foundAlignment(*mode);
    EXPECT_LE(chirpDistance(found, where), 16) << "within the peak";
  }
}

// With the alignment that was found in the first half, the words of the second.
TEST_F(chirpyModDemodTest, readsWordsAtFallingSignalToNoise) {
  const std::pair<double, double> bounds[] = {{20, 1.0}, {10, 0.95}, {8, 0.85}, {6, 0.7}, {4, 0.5}};
  for (const auto& [ebN0_dB, least] : bounds) {
    int right = 0, all = 0;
    for (uint64_t seed = 1; seed <= 4; seed++) {
      sim::randomSource random(seed);
      const int lead = static_cast<int>(random.below(6000));
      const auto message = chirpMessage(40, true, random);
      auto samples = chirpSignal(chirpBits(message), lead, 1.0);
      addChirpNoise(samples, ebN0_dB, random);
      const auto half = samples.begin() + static_cast<long>(samples.size() / 1024 * 512);
      mode = make();
      receive({samples.begin(), half});
      const auto words = wordsAt(foundAlignment(*mode), {half, samples.end()});
      for (size_t i = 24; i < 38; i++, all++) right += std::find(words.begin(), words.end(), message[i]) != words.end();
    }
    EXPECT_GE(right, least * all) << ebN0_dB << " dB";
  }
}

TEST_F(chirpyModDemodTest, bareNoiseScoresAsNoise) {
  sim::randomSource random(8);
  std::vector<cdouble> samples(60 * 23 * 256 / 512 * 512);
  random.addNoise(samples.data(), samples.size(), 1.0);
  receive(samples);
  double sum = 0;
  for (int s = 0; s < 256; s++)
    for (const chirpWord& w : mode->slot(s).words) sum += w.score;
  EXPECT_NEAR(sum / (256 * 23), (1 * 23 + 2 * 253 + 3 * 1771) / 2048.0, 0.02);
}

// Own signal: while an up-chirp and a down-chirp alternate, each filter has its peak at every other end.
TEST_F(chirpyModDemodTest, hearsItsOwnTestSignal) {
  const auto sent = send(12 * 4096, 126);
  std::vector<std::pair<double, double>> ends;
  int n = 0;
  double lastUp = 0, lastDown = 0;
  mode->newWord = [&](int32_t slot, const chirpWord&) {
    const chirpSlot& s = mode->slot(slot);
    if (slot == 255) { // undo the smoothing
      if (n % 4096 == 4095) ends.emplace_back(2 * s.upLevel - lastUp, 2 * s.downLevel - lastDown);
      lastUp = s.upLevel;
      lastDown = s.downLevel;
    }
    n++;
  };
  receive(sent);
  ASSERT_EQ(ends.size(), 12u);
  const double peak = 0.97 * 0.97 * 4096;
  for (size_t i = 0; i < ends.size(); i++) {
    EXPECT_NEAR(ends[i].first, i % 2 == 0 ? peak : 0.0, 3.0) << i;
    EXPECT_NEAR(ends[i].second, i % 2 == 0 ? 0.0 : peak, 3.0) << i;
  }
}

TEST_F(chirpyModDemodTest, blocksOfAnyLengthGiveTheSameWords) {
  sim::randomSource random(4);
  std::vector<cdouble> samples(60 * 512);
  random.addNoise(samples.data(), samples.size(), 1.0);
  receive(samples);
  for (const size_t length : {1, 7, 511, 513, 5000}) {
    const auto whole = mode;
    mode = make();
    receive(samples, length);
    receive({});
    for (int s = 0; s < 256; s++) {
      ASSERT_EQ(mode->slot(s).upLevel, whole->slot(s).upLevel) << length;
      for (int k = 0; k < 23; k++) ASSERT_EQ(mode->slot(s).words[k].score, whole->slot(s).words[k].score) << length;
    }
  }
}

TEST_F(chirpyModDemodTest, samplesThatAreNoNumbersAreForgotten) {
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300}) {
    mode = make();
    receive(std::vector<cdouble>(512, {bad, -bad}));
    sim::randomSource random(9);
    const auto message = chirpMessage(4, true, random);
    const int lead = 10 * 512;
    auto samples = chirpSignal(chirpBits(message), lead, 0.5);
    addChirpNoise(samples, 25, random);
    const auto words = wordsAt(expectedAlignment(lead + 512), samples);
    EXPECT_NE(std::search(words.begin(), words.end(), message.begin(), message.end()), words.end()) << bad;
    for (int s = 0; s < 256; s++) {
      ASSERT_TRUE(std::isfinite(mode->slot(s).upLevel) && std::isfinite(mode->slot(s).downLevel) &&
                  std::isfinite(mode->slot(s).difference));
      for (const chirpWord& w : mode->slot(s).words) ASSERT_TRUE(std::isfinite(w.score));
    }
  }
}

TEST_F(chirpyModDemodTest, theSteadyPathTakesNothingFromTheHeap) {
  const cbuff block(512, cdouble(0.1, 0.2)), group(126);
  const auto run = [&](int calls) {
    const int64_t before = allocationsOfThisThread();
    for (int i = 0; i < calls; i++) {
      mode->demodulate(block);
      mode->modulate(group, group);
    }
    return allocationsOfThisThread() - before;
  };
  run(2);
  EXPECT_EQ(run(80), 0);
  EXPECT_LE(run(100), 8) << "the thread of the capture";
  EXPECT_EQ(run(200), 0);
}

// In a transceiver: what is on the air above the tuned frequency reaches the mode as it should.
TEST_F(chirpyModDemodTest, wordsComeThroughATransceiver) {
  station s;
  s.transceiver->vfo.set(14100000);
  s.transceiver->setModulation(mode);
  s.transceiver->setRxFilter(-200, 3200);
  s.transceiver->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
  s.transceiver->start();
  s.env.turns();
  constexpr int filterDelay = 768; // of the channel filter
  sim::randomSource random(5);
  const auto message = chirpMessage(6, true, random);
  auto samples = chirpSignal(chirpBits(message), 3000, 1.0);
  addChirpNoise(samples, 25, random);
  samples.resize(samples.size() + 4 * 512);
  for (size_t i = 0; i < samples.size(); i++)
    samples[i] *= std::polar(1.0, 2 * 3.1415927 * 4000.0 / 48000 * static_cast<double>(i));
  std::vector<std::vector<uint32_t>> words(256 * 23);
  mode->newWord = [&](int32_t slot, const chirpWord& w) {
    words[slot * 23 + w.phase].push_back(static_cast<uint32_t>(w.decoded));
  };
  for (size_t at = 0; at + 512 <= samples.size(); at += 512) {
    cbuff block(512);
    std::copy_n(samples.begin() + static_cast<long>(at), 512, block.data);
    s.chunk(block, 14104000, 48000); // tuned 4 kHz below the centre
  }
  mode->newWord = nullptr;
  int found = 0, farthest = 0;
  for (int i = 0; i < 256 * 23; i++) {
    if (std::search(words[i].begin(), words[i].end(), message.begin(), message.end()) == words[i].end()) continue;
    farthest = std::max(farthest, chirpDistance({i / 23, i % 23}, expectedAlignment(3000 + filterDelay)));
    found++;
  }
  EXPECT_GT(found, 8);
  EXPECT_LT(farthest, 128) << "the peak and what is beside it";
}

// Its groups at the radio: the chirps by turns, behind the delay of the transmit filter.
TEST_F(chirpyModDemodTest, theTestSignalGoesOutThroughATransceiver) {
  constexpr int filterDelay = 768, groups = 6 * chirpSamples / 126;
  station s;
  s.transceiver->setModulation(mode);
  s.transceiver->setTxFilter(-200, 3200);
  s.transceiver->ptt.set(true);
  s.env.turns();
  for (int i = 0; i < groups; i++) {
    s.transceiver->modulateTask();
    s.env.turns();
  }
  ASSERT_EQ(s.radio->sent.size(), static_cast<size_t>(groups) * 126);
  mode = make();
  std::vector<double> signs(s.radio->sent.size());
  size_t n = 0;
  double lastUp[256] = {}, lastDown[256] = {};
  mode->newWord = [&](int32_t slot, const chirpWord&) { // undo the smoothing
    const chirpSlot& at = mode->slot(slot);
    const double up = 2 * at.upLevel - lastUp[slot], down = 2 * at.downLevel - lastDown[slot];
    lastUp[slot] = at.upLevel;
    lastDown[slot] = at.downLevel;
    if (n < signs.size()) signs[n++] = up - down;
  };
  receive(s.radio->sent);
  // the first chirp rises out of the silence
  for (size_t i = 1; i < 5; i++) {
    const double peak = signs[filterDelay + delay + i * chirpSamples];
    EXPECT_NEAR(peak, (i % 2 == 0 ? 1 : -1) * 0.97 * 0.97 * chirpSamples, 0.02 * chirpSamples) << i;
  }
}

} // namespace
} // namespace larch::test
