// The radio's allocation against a plain model of its rules, written down a second time: no shared code, other data, other flow.
#include "tests/radio/testRadio.h"
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <sstream>

using namespace larch;

namespace {

constexpr long long none = -1;

// One number a row, as on paper.
struct paperReceiver {
  long long centre, rate, adc, filled, size;
};
struct paperTransceiver {
  long long vfo = 14095600, mask = 1;
  bool up = false;
  std::map<int, long long> slot{{0, none}, {1, none}, {2, none}, {3, none}};
};

struct paperRadio {
  std::vector<paperReceiver> receivers;
  std::vector<int> order; // names of the transceivers in the list
  std::map<int, paperTransceiver> all;
  long long offset = 0, most = 1, rate = 48000;
  bool noSharing = false, canTransmit = false, ptt = false;
  int transmitter = -1;
  int changes = 0;

  long long tuned(long long f) const {
    const long long t = f - offset;
    if (t < 0) return 0;
    return t > 2147483647LL ? 2147483647LL : t;
  }
  static long long apart(long long a, long long b) { return a > b ? a - b : b - a; }
  bool inside(long long f, long long receiver, int adc) const {
    if (receiver == none) return false;
    const paperReceiver& r = receivers.at(static_cast<std::size_t>(receiver));
    return r.adc == adc && apart(f, r.centre) < r.rate / 2 - 10000;
  }
  void append(long long f) { receivers.push_back({f, rate, 0, 0, 512}); }

  void tuneOne(int name, long long frequency) {
    long long position = none;
    for (std::size_t i = 0; i < order.size(); i++)
      if (order[i] == name) position = static_cast<long long>(i);
    if (position == none) return;
    const long long f = tuned(frequency);
    if (noSharing) {
      if (position < most) {
        if (all[name].slot[0] != position) {
          while (static_cast<long long>(receivers.size()) <= position) append(f);
          all[name].slot[0] = position;
        }
        receivers[static_cast<std::size_t>(position)].centre = f;
      }
    } else {
      for (int adc = 0; adc <= 3; adc++) all[name].slot[adc] = choose(name, adc, f);
    }
    changes++;
  }

  // The six steps for one ADC, in order; the number of the receiver to use from now on.
  long long choose(int name, int adc, long long f) {
    const long long mask = all[name].mask;
    if (mask % (2LL << adc) / (1LL << adc) == 0) return none; // (1)
    const long long now = all[name].slot[adc];
    if (inside(f, now, adc)) { // (2)
      int users = 0;
      for (int other : order) users += all[other].slot[adc] == now;
      paperReceiver& r = receivers[static_cast<std::size_t>(now)];
      if (users == 1 && apart(f, r.centre) > r.rate / 16) r.centre = f;
      return now;
    }
    for (std::size_t r = 0; r < receivers.size(); r++) // (3)
      if (inside(f, static_cast<long long>(r), adc)) return static_cast<long long>(r);
    for (std::size_t r = 0; r < receivers.size(); r++) { // (4)
      int blockers = 0;
      for (int other : order) {
        if (other != name)
          blockers++;
        else if (receivers[r].adc != adc && mask % (2LL << receivers[r].adc) / (1LL << receivers[r].adc) == 1)
          blockers++;
      }
      if (blockers == 0) {
        receivers[r].centre = f;
        receivers[r].adc = adc;
        return static_cast<long long>(r);
      }
    }
    for (std::size_t r = 0; r < receivers.size(); r++) { // (5)
      if (receivers[r].adc != adc) continue;
      std::set<long long> wanted{f};
      for (int other : order)
        if (other != name && all[other].slot[adc] == static_cast<long long>(r)) wanted.insert(tuned(all[other].vfo));
      const long long lo = *wanted.begin(), hi = *wanted.rbegin();
      if (hi - lo < receivers[r].rate - 20000) {
        receivers[r].centre = (hi + lo) / 2;
        return static_cast<long long>(r);
      }
    }
    if (static_cast<long long>(receivers.size()) < most) { // (6)
      append(f);
      receivers.back().adc = adc;
      for (paperReceiver& r : receivers) r.filled = 0;
      return static_cast<long long>(receivers.size()) - 1;
    }
    return now;
  }

  void add(int name, long long frequency, long long receiver) {
    paperTransceiver fresh;
    const bool exists = receiver >= 0 && receiver < static_cast<long long>(receivers.size());
    if (frequency == -1) frequency = exists ? receivers[static_cast<std::size_t>(receiver)].centre : fresh.vfo;
    const bool moved = frequency != fresh.vfo;
    fresh.vfo = frequency;
    if (exists) fresh.slot[0] = receiver;
    all[name] = fresh;
    order.push_back(name);
    tuneOne(name, frequency);
    if (moved) tuneOne(name, frequency); // the transceiver's own request comes in behind
  }
  void remove(int name) {
    if (transmitter == name) {
      ptt = false;
      transmitter = -1;
    }
    std::erase(order, name);
  }
  void key(int name) {
    if (!canTransmit) return;
    if (!all[name].up) {
      ptt = false;
      return;
    }
    for (int each : order) {
      if (each != name) continue;
      transmitter = name;
      ptt = true;
    }
  }
  void feed(std::size_t receiver, long long count) {
    paperReceiver& r = receivers[receiver];
    for (; count > 0; count--) {
      if (++r.filled < r.size) continue;
      r.filled = 0;
      r.size = r.rate / 48000 * 512;
    }
  }
};

class modelRun {
 public:
  explicit modelRun(uint32_t seed) : random_(seed) {}

  void step() {
    switch (pick(0, 19)) {
    case 0:
    case 1: add(); break;
    case 2: remove(); break;
    case 3:
    case 4: mask(); break;
    case 5:
      paper.rate = rates[pick(0, 5)];
      rate();
      break;
    case 6:
      paper.noSharing = pick(0, 3) == 0;
      b.radio->disableVirtualReceivers.set(paper.noSharing);
      break;
    case 7: offset(); break;
    case 8:
      paper.most = pick(-1, 8);
      b.radio->maxHwReceivers.set(static_cast<int32_t>(paper.most));
      break;
    case 9:
    case 10: key(); break;
    case 11:
    case 12: feed(); break;
    case 13: retuneGone(); break;
    default: vfo(); break;
    }
  }

  std::string difference() {
    std::ostringstream real, model;
    for (const hwReceiver& hw : b.radio->hwReceivers)
      real << hw.frequency << '/' << hw.sampleRate << '/' << hw.adc << '/' << hw.fillPosition << '/' << hw.chunk.count << ' ';
    for (const paperReceiver& r : paper.receivers)
      model << r.centre << '/' << r.rate << '/' << r.adc << '/' << r.filled << '/' << r.size << ' ';
    for (const auto& t : b.radio->transceivers) {
      real << "| " << t->vfo.value << ' ';
      for (const int32_t slot : t->hwReceiver) real << slot << ' ';
    }
    for (const int name : paper.order) {
      model << "| " << paper.all[name].vfo << ' ';
      for (const auto& slot : paper.all[name].slot) model << slot.second << ' ';
    }
    const auto transmitter = b.radio->transmitter.lock();
    real << b.radio->ptt.value << (transmitter == nullptr) << b.radio->changes;
    model << paper.ptt << (paper.transmitter == -1) << paper.changes;
    if (transmitter && transmitter != made[paper.transmitter]) real << " transmitter";
    return real.str() == model.str() ? "" : "radio " + real.str() + "\nmodel " + model.str();
  }

  radioBench b;
  paperRadio paper;

 private:
  long long pick(long long low, long long high) { return std::uniform_int_distribution<long long>(low, high)(random_); }
  int anyone() {
    return paper.order.empty() ? -1
                               : paper.order[static_cast<std::size_t>(pick(0, static_cast<long long>(paper.order.size()) - 1))];
  }
  // Near a few centres, so that bands overlap; seldom at the limits.
  int32_t frequency() {
    switch (pick(0, 24)) {
    case 0: return INT32_MAX;
    case 1: return INT32_MIN;
    case 2: return 0;
    default: return static_cast<int32_t>(pick(1, 3) * 7'000'000 + pick(-60, 60) * (pick(0, 1) ? 1000 : 1777));
    }
  }
  void add() {
    if (paper.order.size() >= 9) return;
    const long long f = pick(0, 4) == 0 ? -1 : frequency();
    const long long receiver = pick(-2, static_cast<long long>(paper.receivers.size()) + 1);
    const int name = names++;
    paper.add(name, f, receiver);
    made[name] = b.add(static_cast<int32_t>(f), static_cast<int32_t>(receiver));
  }
  void remove() {
    const int name = anyone();
    if (name < 0) return;
    gone = name;
    paper.remove(name);
    b.radio->removeVtrx(made[name]);
    b.turns();
  }
  void retuneGone() {
    if (gone < 0) return;
    b.set(made[gone], &vtrx::vfo, frequency());
  }
  void mask() {
    const int name = anyone();
    if (name < 0) return;
    static constexpr long long masks[] = {0, 1, 1, 1, 2, 3, 3, 4, 5, 15, 16, 17, -1};
    const long long wanted = masks[pick(0, 12)];
    const long long bits = wanted & 0xffffffff;
    if (bits != paper.all[name].mask) {
      paper.all[name].mask = bits;
      paper.tuneOne(name, paper.all[name].vfo);
    }
    b.set(made[name], &vtrx::ADCs, static_cast<int32_t>(wanted));
  }
  void rate() {
    b.radio->SampleRate.set(static_cast<int32_t>(paper.rate));
    for (auto& hw : b.radio->hwReceivers) hw.sampleRate = static_cast<int32_t>(paper.rate);
    for (auto& r : paper.receivers) r.rate = paper.rate;
  }
  void offset() {
    static constexpr int32_t offsets[] = {0, 0, 116'000'000, -28'000'000, 7'000'000, INT32_MAX, INT32_MIN};
    const int32_t wanted = offsets[pick(0, 6)];
    paper.offset = wanted;
    b.radio->TransceiverOffset.set(wanted);
  }
  void vfo() {
    const int name = anyone();
    if (name < 0) return;
    const int32_t f = frequency();
    if (f != paper.all[name].vfo) {
      paper.all[name].vfo = f;
      paper.tuneOne(name, f);
    }
    b.set(made[name], &vtrx::vfo, f);
  }
  void key() {
    if (pick(0, 5) == 0) {
      paper.canTransmit = pick(0, 2) > 0;
      b.radio->canTransmit.set(paper.canTransmit);
    }
    const int name = pick(0, 9) == 0 ? gone : anyone();
    if (name < 0) return;
    paper.all[name].up = pick(0, 1) == 1;
    paper.key(name);
    storeWord(made[name]->ptt.value, paper.all[name].up);
    b.radio->setPtt(made[name]);
  }
  void feed() {
    if (paper.receivers.empty()) return;
    const std::size_t receiver = static_cast<std::size_t>(pick(0, static_cast<long long>(paper.receivers.size()) - 1));
    const long long count = pick(0, 3000);
    paper.feed(receiver, count);
    b.radio->feed(static_cast<uint64_t>(count), static_cast<int32_t>(receiver));
    b.turns();
  }

  static constexpr long long rates[] = {48000, 96000, 192000, 384000, 768000, 1536000};
  std::mt19937 random_;
  std::map<int, std::shared_ptr<vtrx>> made;
  int names = 0, gone = -1;
};

} // namespace

class receiverModelTest : public testing::TestWithParam<uint32_t> {};

TEST_P(receiverModelTest, radioAndPaperAgreeAfterEachStep) {
  const uint32_t seed = GetParam();
  RecordProperty("seed", static_cast<int>(seed));
  std::size_t mostReceivers = 0, mostTransceivers = 0;
  for (uint32_t radio = 0; radio < 40; radio++) { // hardware receivers never go: begin again often
    modelRun run(seed * 1000 + radio);
    for (int step = 0; step < 100; step++) {
      run.step();
      const std::string difference = run.difference();
      ASSERT_EQ(difference, "") << "seed " << seed << " radio " << radio << " step " << step;
      mostReceivers = std::max(mostReceivers, run.paper.receivers.size());
      mostTransceivers = std::max(mostTransceivers, run.paper.order.size());
    }
  }
  EXPECT_GE(mostReceivers, 6u); // the walk reaches what it is meant to reach
  EXPECT_GE(mostTransceivers, 6u);
}

INSTANTIATE_TEST_SUITE_P(seeds, receiverModelTest, testing::Values(1u, 2u, 3u, 20u),
                         [](const auto& each) { return "seed" + std::to_string(each.param); });
