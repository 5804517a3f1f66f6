// What the chirp mode makes of words in noise, and what it costs: chirpStudy [messages a cell].
// Words at the alignment that it has found by itself: random ones, and such as avoid the draws of its bits.
#include "runtime/sothreadpool.h"
#include "tests/modes/chirpTesting.h"
#include <cstdio>
#include <cstdlib>
#include <ctime>

using namespace larch;

namespace {

constexpr size_t words = 60, learning = 30, measured = 28; // a message; the last ones end in the noise behind it
constexpr double ebN0s_dB[] = {30, 20, 14, 12, 10, 8, 6, 5, 4, 3, 2, 0};
// samples to either side: the lobes beside the peak carry the same words while there is little noise
constexpr int peakWidth = 64;

struct receiver {
  sothreadpool pool{0};
  std::shared_ptr<chirpyModDemod> mode = keptByCore(std::make_shared<chirpyModDemod>(std::make_shared<syncTask>(&pool)));

  void hear(const std::vector<std::complex<double>>& samples, size_t from, size_t to) {
    cbuff block(512);
    for (size_t at = from; at + 512 <= to; at += 512) {
      std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(at), 512, block.data);
      mode->demodulate(block);
    }
  }
};

struct counts {
  int messages = 0, found = 0, right = 0, rightAtTruth = 0, bits = 0, draws = 0;
};

// Of the words behind the first half: which one ends first there is known but for one.
int rightOf(const std::vector<int32_t>& heard, const std::vector<uint32_t>& message) {
  int best = 0;
  for (size_t first = learning - 1; first <= learning + 1; first++) {
    int right = 0;
    for (size_t i = 0; i < measured && i < heard.size() && first + i < words; i++)
      right += heard[i] == static_cast<int32_t>(message[first + i]);
    best = std::max(best, right);
  }
  return best;
}

void measure(counts& c, bool fewDraws, double ebN0_dB, uint64_t seed) {
  sim::randomSource random(seed);
  const auto message = test::chirpMessage(words, fewDraws, random);
  const auto bits = test::chirpBits(message);
  const int lead = static_cast<int>(random.below(6000));
  auto samples = test::chirpSignal(bits, lead, 1.0);
  test::addChirpNoise(samples, ebN0_dB, random);
  receiver r;
  const size_t half = (lead + test::chirpSamples + learning * 23 * 256) / 512 * 512;
  r.hear(samples, 0, half);
  const auto truth = test::expectedAlignment(lead), found = test::foundAlignment(*r.mode);
  std::vector<int32_t> heardThere, heard;
  r.mode->newWord = [&](int32_t slot, const chirpWord& w) {
    if (slot == truth.slot && w.phase == truth.phase) heardThere.push_back(w.decoded);
    if (slot == found.slot && w.phase == found.phase) heard.push_back(w.decoded);
  };
  r.hear(samples, half, samples.size());
  c.messages++;
  c.found += test::chirpDistance(found, truth) <= peakWidth;
  c.right += rightOf(heard, message);
  c.rightAtTruth += rightOf(heardThere, message);
  c.bits += static_cast<int>(bits.size());
  c.draws += test::chirpDraws(bits, 0, static_cast<int>(bits.size()));
}

void wordTable(int messages) {
  for (const bool fewDraws : {false, true}) {
    std::printf("\n%s\nEb/N0 | alignment found | words right there | at the true alignment | draws\n",
                fewDraws ? "words with few draws" : "random words");
    for (const double ebN0_dB : ebN0s_dB) {
      counts c;
      for (int m = 1; m <= messages; m++) measure(c, fewDraws, ebN0_dB, static_cast<uint64_t>(m));
      const double all = c.messages * static_cast<double>(measured);
      std::printf("%4.0f dB | %d of %d | %.1f %% | %.1f %% | %.1f %%\n", ebN0_dB, c.found, c.messages, 100 * c.right / all,
                  100 * c.rightAtTruth / all, 100.0 * c.draws / c.bits);
      std::fflush(stdout);
    }
  }
}

void cost() {
  receiver r;
  sim::randomSource random(1);
  std::vector<std::complex<double>> samples(100 * 512);
  random.addNoise(samples.data(), samples.size(), 1.0);
  r.hear(samples, 0, samples.size());
  constexpr int rounds = 30;
  const std::clock_t start = std::clock();
  for (int i = 0; i < rounds; i++) r.hear(samples, 0, samples.size());
  const double took_s = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  const double signal_s = rounds * static_cast<double>(samples.size()) / 48000;
  std::printf("\ncost: %.1f us a block of 512, %.3f %% of a core\n", took_s * 1e6 / (rounds * 100), 100 * took_s / signal_s);
}

} // namespace

int main(int argc, char** argv) {
  cost();
  wordTable(argc > 1 ? std::max(1, std::atoi(argv[1])) : 8);
}
