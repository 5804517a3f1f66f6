// What the PSK mode makes of a band, and what it sends.
#include "modes/PskModDemod.h"
#include "tests/runtime/testGroup.h"
#include "tests/support/allocationCounter.h"
#include "tests/support/pskTestSender.h"
#include <climits>
#include <gtest/gtest.h>

using namespace larch;
using namespace larch::testing_psk;

namespace {

std::string primaryText, sentText;
std::array<std::string, 66> channelText;

// The host's functions know nothing but the text: one for each channel.
template <size_t... i> void listenToChannels(PskModDemod& mode, std::index_sequence<i...>) {
  ((mode.dets.items[i]->newChars = [](const char* text) { channelText[i] += text; }), ...);
}
bool heard(size_t first, size_t count, const std::string& wanted) {
  return std::any_of(channelText.begin() + static_cast<long>(first), channelText.begin() + static_cast<long>(first + count),
                     [&](const std::string& text) { return text.find(wanted) != std::string::npos; });
}

std::vector<int32_t> numbers;
int resets;

struct PskModDemodSignalTest : testing::Test {
  testGroup g;
  std::shared_ptr<PskModDemod> mode = keptByCore(std::make_shared<PskModDemod>(g.group));
  PskModDemodSignalTest() {
    primaryText.clear();
    channelText = {};
    sentText.clear();
    numbers.clear();
    resets = 0;
    mode->newChars = [](const char* text) { primaryText += text; };
    mode->sentChars = [](const char* text) { sentText += text; };
  }
  PskDetector& detector(size_t i) { return *mode->dets.items[i]; }

  // Audio at 8000 per second, each sample held for six: what lies between would be omitted anyway.
  void receive(const std::vector<double>& audio, size_t chunk = 512) {
    std::vector<std::complex<double>> samples;
    for (const double x : audio) samples.insert(samples.end(), 6, x);
    for (size_t at = 0; at < samples.size(); at += chunk) {
      cbuff block(std::min(chunk, samples.size() - at));
      std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(at), block.count, block.data);
      mode->demodulate(block);
      g.pool->getUpdates();
    }
  }
  std::vector<double> audio(const std::string& text, double frequency, int32_t value = 0, double noise = 0, uint32_t seed = 1) {
    pskSignal s;
    s.mode = value;
    s.frequency = frequency;
    s.noise = noise;
    s.seed = seed;
    return samplesOf(s, turnsOf(s, text));
  }
  std::vector<std::complex<double>> transmit(size_t samples, size_t chunk = 512) {
    std::vector<std::complex<double>> out;
    for (size_t at = 0; at < samples; at += chunk) {
      cbuff block(std::min(chunk, samples - at));
      mode->modulate(block, block);
      out.insert(out.end(), block.data, block.data + block.count);
    }
    g.pool->getUpdates();
    return out;
  }
  void queue(const std::string& text) { mode->queueText(text, static_cast<uint32_t>(mode->text().sentCount())); }
};

// Symbols of 384 samples at 1500 Hz, which is twelve whole turns each, by the points where they begin and end: k phase kept,
// r reversed, 0 switched off, 1 switched on, - nothing, ? else.
std::string keyedIn(const std::vector<std::complex<double>>& out) {
  std::string symbols;
  const auto near = [](std::complex<double> a, std::complex<double> b) { return std::abs(a - b) < 0.01; };
  for (size_t n = 0; n + 384 < out.size(); n += 384) {
    const std::complex<double> from = out[n], to = out[n + 384];
    const bool on = near(std::abs(to), 1), wasOn = near(std::abs(from), 1);
    if (on && wasOn)
      symbols += near(to, from) ? 'k' : near(to, -from) ? 'r' : '?';
    else if (on || wasOn)
      symbols += on && near(from, 0) ? '1' : near(to, 0) ? '0' : '?';
    else
      symbols += near(from, 0) && near(to, 0) ? '-' : '?';
  }
  return symbols;
}

std::vector<double> mixed(std::vector<double> a, const std::vector<double>& b) {
  a.resize(std::max(a.size(), b.size()), 0.0);
  for (size_t n = 0; n < b.size(); n++) a[n] += b[n];
  return a;
}

} // namespace

TEST_F(PskModDemodSignalTest, thePrimaryDetectorReadsTheOperatorsSignal) {
  receive(audio("cq cq de test", 1500));
  EXPECT_EQ(primaryText, "cq cq de test");
}

TEST_F(PskModDemodSignalTest, eachModeHasAPrimaryDetectorThatReadsIt) {
  for (const pskMode& m : pskModes) {
    primaryText.clear();
    mode->mode.set(m.value);
    receive(audio("hello " + std::string(m.name), 1500, m.value));
    EXPECT_NE(primaryText.find("hello " + std::string(m.name)), std::string::npos) << m.name << ": " << primaryText;
  }
}

TEST_F(PskModDemodSignalTest, everyByteButZeroIsRead) {
  listenToChannels(*mode, std::make_index_sequence<66>());
  mode->mode.set(16);
  std::string all;
  for (int c = 1; c < 256; c++) all += static_cast<char>(c);
  receive(audio(all, 1500, 16));
  EXPECT_EQ(primaryText, all);
  EXPECT_EQ(channelText[62], all);
}

TEST_F(PskModDemodSignalTest, scanningChannelsFindSignalsOfTheirSpeed) {
  listenToChannels(*mode, std::make_index_sequence<66>());
  receive(mixed(audio("somebody else", 743.0, 0, 100), audio("fast one of them", 2210.0, 8, 0)));
  EXPECT_TRUE(heard(0, 30, "somebody else"));
  EXPECT_TRUE(heard(30, 30, "fast one of them"));
  EXPECT_FALSE(heard(0, 30, "fast one of them"));
  EXPECT_EQ(primaryText, "");
}

TEST_F(PskModDemodSignalTest, anyChunkLengthKeepsTheStrideOfSix) {
  pskSignal s;
  s.noise = 500;
  const auto sound = samplesOf(s, turnsOf(s, "stride"));
  for (const size_t chunk : {1u, 5u, 7u, 513u}) {
    // only each sixth sample is the signal: one slip and it is gone
    const auto fresh = keptByCore(std::make_shared<PskModDemod>(g.group));
    fresh->newChars = [](const char* text) { primaryText += text; };
    primaryText.clear();
    std::vector<std::complex<double>> samples;
    for (const double x : sound) {
      samples.push_back({x, 1e9});
      samples.insert(samples.end(), 5, 1e9);
    }
    for (size_t at = 0; at < samples.size(); at += chunk) {
      cbuff block(std::min(chunk, samples.size() - at));
      std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(at), block.count, block.data);
      fresh->demodulate(block);
    }
    g.pool->getUpdates();
    EXPECT_EQ(primaryText, "stride") << chunk;
  }
}

TEST_F(PskModDemodSignalTest, theOperatorHearsTheRealPart) {
  cbuff block(513);
  for (uint64_t i = 0; i < block.count; i++) block.data[i] = {0.001 * static_cast<double>(i), 5.0};
  const auto sound = mode->demodulate(block);
  ASSERT_EQ(sound.count, 513u);
  for (uint64_t i = 0; i < sound.count; i++) EXPECT_EQ(sound.data[i], static_cast<float>(0.001 * static_cast<double>(i)));
}

TEST_F(PskModDemodSignalTest, theFrequenciesFollowTheSignalAndTheHostIsTold) {
  mode->rxFreq.bind(mode.get(), [](int32_t v) { numbers.push_back(v); });
  receive(audio("a little higher", 1504));
  EXPECT_NEAR(mode->rxFreq.value, 1504, 1);
  EXPECT_EQ(mode->txFreq.value, mode->rxFreq.value);
  ASSERT_GT(numbers.size(), 2u);
  EXPECT_EQ(numbers.back(), mode->rxFreq.value);
  for (size_t i = 60; i < 66; i++) EXPECT_NEAR(detector(i).frequency(), 1504, 3) << i; // all primaries go along
}

// A model that takes the detectors in the order of the list: those behind the primary one hear the same block at the frequency
// that it has found.
TEST_F(PskModDemodSignalTest, theDetectorsRunInOrder) {
  for (const size_t primary : {60u, 63u, 14u}) {
    const auto fresh = keptByCore(std::make_shared<PskModDemod>(g.group));
    fresh->primaryDetector.set(static_cast<int32_t>(primary));
    for (const auto& row : fresh->dets.items) row->activity.set(1000); // the scanner has its limit then, and moves nothing
    std::vector<CPSKDet> model;
    for (const auto& row : fresh->dets.items) model.push_back(row->detector);
    pskInputScale scale;
    int32_t rxFrequency = 1500, changes = 0;
    pskSignal s;
    s.mode = static_cast<int32_t>(model[primary].detectMode);
    s.drift = 1;
    const auto sound = samplesOf(s, turnsOf(s, "in order"));
    for (size_t at = 0; at + 512 <= sound.size(); at += 512) {
      std::vector<double> block;
      cbuff samples(512 * 6);
      for (size_t n = 0; n < 512; n++) {
        block.push_back(scale.scaled(sound[at + n]));
        for (size_t k = 0; k < 6; k++) samples.data[6 * n + k] = sound[at + n];
      }
      fresh->demodulate(samples);
      for (size_t i = 0; i < model.size(); i++) {
        char out[CPSKDet::maxCharacters];
        model[i].processBlock(block.data(), 512, out);
        if (i != primary || model[i].afc.rxFrequency == rxFrequency) continue;
        rxFrequency = model[i].afc.rxFrequency;
        changes++;
        for (size_t j = 60; j < 66; j++) model[j].setRxFrequency(rxFrequency);
      }
      ASSERT_EQ(fresh->rxFreq.value, rxFrequency) << primary << ' ' << at;
      for (size_t i = 60; i < 66; i++)
        ASSERT_NEAR(std::cos(fresh->dets.items[i]->detector.ncoPhase - model[i].ncoPhase), 1, 1e-6) << primary << ' ' << i;
    }
    EXPECT_GT(changes, 2) << primary;
  }
}

TEST_F(PskModDemodSignalTest, theHostTunesAllPrimaryDetectors) {
  mode->rxFreq.set(1000);
  for (size_t i = 60; i < 66; i++) EXPECT_EQ(detector(i).frequency(), 1000) << i;
  for (size_t i = 0; i < 60; i++) EXPECT_EQ(detector(i).frequency(), static_cast<int32_t>(i % 30 + 1) * 100) << i;
  EXPECT_EQ(mode->txFreq.value, 1000);
  receive(audio("tuned by hand", 1000));
  EXPECT_EQ(primaryText, "tuned by hand");
  mode->primaryDetector.set(3);
  mode->rxFreq.set(1200);
  EXPECT_EQ(detector(3).frequency(), 1200);
  EXPECT_EQ(detector(60).frequency(), 1200);
}

TEST_F(PskModDemodSignalTest, aNewModeStartsItsDetectorAtTheOperatorsFrequency) {
  mode->primaryDetector.set(3); // mode stays 0
  mode->mode.set(17);
  EXPECT_EQ(detector(65).frequency(), mode->rxFreq.value);
  EXPECT_EQ(detector(65).lifeCount, 200);
  mode->rxFreq.set(700);
  mode->mode.set(8);
  EXPECT_EQ(detector(61).frequency(), 700);
}

TEST_F(PskModDemodSignalTest, channelsReportTheirFrequencyEveryEleventhBlock) {
  for (size_t i = 0; i < 60; i++) detector(i).activity.set(1000); // the scanner has its limit then, and moves nothing
  detector(5).freq.bind(&detector(5), [](int32_t v) { numbers.push_back(v); });
  const std::vector<double> block(512, 0.0);
  receive(block); // block 0 reports
  g.pool->getUpdates();
  numbers.clear();
  for (int k = 1; k <= 22; k++) {
    detector(5).detector.setRxFrequency(600 + k);
    receive(block);
  }
  EXPECT_EQ(numbers, (std::vector<int32_t>{611, 622}));
}

TEST_F(PskModDemodSignalTest, aChannelIsClaimedByItsTextAndLetGoBlockByBlock) {
  listenToChannels(*mode, std::make_index_sequence<66>());
  const std::vector<double> block(512, 0.0);
  int claims = 0;
  const auto sound = audio("somebody else", 743.0, 0, 100);
  for (size_t at = 0; at + 512 <= sound.size(); at += 512) {
    std::array<std::string, 66> before = channelText;
    std::array<int32_t, 30> life;
    for (size_t i = 0; i < 30; i++) life[i] = detector(i).lifeCount;
    receive({sound.begin() + static_cast<long>(at), sound.begin() + static_cast<long>(at) + 512});
    for (size_t i = 0; i < 30; i++)
      if (channelText[i] != before[i]) {
        EXPECT_EQ(detector(i).lifeCount, 200);
        claims += life[i] != 200;
      }
  }
  EXPECT_GT(claims, 0);
  detector(7).lifeCount = 2;
  receive(block);
  EXPECT_EQ(detector(7).lifeCount, 1);
  receive(block);
  receive(block);
  EXPECT_EQ(detector(7).lifeCount, 0);
  EXPECT_EQ(detector(60).lifeCount, 200); // the primary one always
  EXPECT_EQ(detector(61).lifeCount, 0);
}

TEST_F(PskModDemodSignalTest, aQuietBandIsBroughtToFullScale) {
  auto sound = audio("quiet", 1500);
  for (double& x : sound) x *= 1e-7;           // a thousandth of a full-scale sample
  receive(std::vector<double>(8000 * 3, 0.0)); // the peak comes down from 1
  receive(sound);
  EXPECT_NE(primaryText.find("quiet"), std::string::npos) << primaryText;
}

TEST_F(PskModDemodSignalTest, enduresWhatIsNoSignal) {
  std::vector<double> bad;
  const double values[] = {double{NAN}, double{INFINITY}, -double{INFINITY}, 1e308, -1e308, 1e12, 5e-324, 0};
  std::mt19937 random(4);
  for (int k = 0; k < 512 * 30; k++) bad.push_back(values[random() % std::size(values)]);
  receive(bad);
  receive(std::vector<double>(8000 * 6, 0.0)); // peak and AGC come down
  mode->rxFreq.set(1400);
  mode->rxFreq.set(1500);
  primaryText.clear();
  receive(audio("after the storm", 1500));
  EXPECT_NE(primaryText.find("after the storm"), std::string::npos) << primaryText;
}

TEST_F(PskModDemodSignalTest, enduresEveryFrequencyThatAHostSets) {
  const auto sound = audio("x", 1500);
  for (const int32_t f : {INT_MIN, -1, 0, 4000, INT_MAX}) {
    mode->rxFreq.set(f);
    receive(std::vector<double>(sound.begin(), sound.begin() + 512 * 20));
    transmit(5000);
  }
  mode->rxFreq.set(1500);
  primaryText.clear();
  receive(audio("back again", 1500));
  EXPECT_NE(primaryText.find("back again"), std::string::npos) << primaryText;
}

TEST_F(PskModDemodSignalTest, aHostThatEmptiesTheListsStopsNothing) {
  mode->dets.set(0, 3, nullptr);
  receive(std::vector<double>(512 * 4, 1.0));
  mode->dets.reset();
  mode->Modes.reset();
  mode->primaryDetector.set(-5);
  receive(std::vector<double>(512 * 4, 1.0));
  mode->primaryDetector.set(60);
  receive(audio("goes on", 1500));
  EXPECT_EQ(primaryText, "goes on");
}

TEST_F(PskModDemodSignalTest, aCallWithoutTextAllocatesTheHeadOfItsAudioOnly) {
  std::vector<std::complex<double>> samples;
  cbuff block(512);
  std::mt19937 random(1);
  std::normal_distribution<double> noise(0, 1000);
  const auto run = [&](int calls) {
    int64_t allocated = 0;
    for (int k = 0; k < calls; k++) {
      for (uint64_t i = 0; i < block.count; i++) block.data[i] = noise(random);
      const int64_t before = test::allocationsOfThisThread();
      mode->demodulate(block);
      allocated += test::allocationsOfThisThread() - before;
      g.pool->getUpdates();
    }
    return allocated;
  };
  run(200);
  EXPECT_LE(run(600), 600);
}

TEST_F(PskModDemodSignalTest, sendsTheQueueAndTellsOfIt) {
  auto out = transmit(48000 * 2); // the squelch of the other side takes longer than the preamble
  queue("hello world");
  const auto text = transmit(48000 * 7);
  out.insert(out.end(), text.begin(), text.end());
  EXPECT_EQ(sentText, "hello world");
  std::vector<double> sound;
  for (size_t n = 0; n < out.size(); n += 6) sound.push_back(out[n].real());
  receive(sound);
  EXPECT_NE(primaryText.find("hello world"), std::string::npos) << primaryText;
}

TEST_F(PskModDemodSignalTest, eachOverBeginsWithASecondOfIdle) {
  mode->mode.set(16);
  transmit(384 * 40); // the preamble
  queue("e");
  mode->pttChanged(true);
  transmit(384 * 124); // 47,616 samples
  EXPECT_EQ(sentText, "");
  transmit(384 * 3);
  EXPECT_EQ(sentText, "e");
  queue("e");
  mode->pttChanged(false); // does nothing
  transmit(384 * 10);
  EXPECT_EQ(sentText, "ee");
}

TEST_F(PskModDemodSignalTest, aTildeEndsTheTransmissionWithACarrier) {
  mode->mode.set(16);
  transmit(384 * 40);
  queue("e~more");
  // one call of many symbols: nothing behind the tilde goes out in it, and from the symbol behind the carrier's first on (the
  // sixth: a fetch, two ones, a zero, and the tilde's fetch stand before it) there is nothing but carrier
  const auto rest = transmit(384 * 60, 384 * 60);
  EXPECT_EQ(sentText, "e~");
  for (size_t n = 384 * 6 + 1; n < rest.size(); n++) {
    ASSERT_NEAR(std::abs(rest[n]), 0.707 * std::sqrt(2.0), 1e-9) << n;
    ASSERT_NEAR(std::arg(rest[n] / rest[n - 1]), -2 * std::acos(-1.0) * 1500 / 48000, 1e-5) << n;
  }
  const auto out = transmit(384, 384);
  EXPECT_EQ(sentText, "e~m"); // the next call, unless the transceiver finishes
  mode->txFinishing = true;
  const auto tail = transmit(384 * 40);
  EXPECT_EQ(sentText, "e~m");
  for (size_t n = tail.size() - 384 * 4; n < tail.size(); n++) ASSERT_NEAR(std::abs(tail[n]), 1.0, 1e-3) << n;
}

TEST_F(PskModDemodSignalTest, aCharacterWithTheHighBitIsToldAndKeysNothing) {
  mode->mode.set(16);
  transmit(384 * 40);
  queue("\xC4");
  const auto with = transmit(384 * 30);
  EXPECT_EQ(sentText, "\xC4");
  const auto idle = transmit(384 * 30);
  // reversals all the way: after each symbol the envelope goes through zero
  for (size_t at = 0; at + 400 <= with.size(); at += 384) {
    double least = 1;
    for (size_t n = at; n < at + 400; n++) least = std::min(least, std::abs(with[n]));
    EXPECT_LT(least, 0.02) << at;
  }
}

// As signed bytes they are -1 to -3, what a fetch answers to switch off, for a carrier and for idle; any other negative one
// idles.
TEST_F(PskModDemodSignalTest, theHighestCharactersSteerTheCarrier) {
  for (const int32_t value : {16, 17}) {
    mode->mode.set(value);
    transmit(384 * 40);
    sentText.clear();
    queue("\xFF\xFF\xFE\xFE\xFD\x80\xFF");
    const auto out = transmit(384 * 12);
    EXPECT_EQ(sentText, "\xFF\xFF\xFE\xFE\xFD\x80\xFF");
    EXPECT_EQ(keyedIn(out), "r0-1k"
                            "rr0"
                            "1rr")
        << value;
  }
}

TEST_F(PskModDemodSignalTest, receiveAndTransmitStayTogether) {
  mode->mode.set(16);
  mode->rxFreq.set(800);
  mode->txFinishing = true; // carrier
  const auto out = transmit(384 * 60);
  const size_t n = 384 * 50 + 100;
  EXPECT_NEAR(std::arg(out[n] / out[n - 1]), -2 * std::acos(-1.0) * 800 / 48000, 1e-6);
}
