// The Protocol 1 radio against the simulated one, over loopback.
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/radio/hpsdrBench.h"
#include <chrono>
#include <cmath>
#include <thread>

using namespace larch;
using namespace larch::test;

namespace {

using clock_ = std::chrono::steady_clock;
using samples = std::vector<std::complex<double>>;

// Both sides by hand, on the test's thread.
struct simBench {
  explicit simBench(sim::radioOptions options = {}) {
    board = sim::protocol1Radio::onFreeLoopback(options, scene);
    radio = keptByCore(std::make_shared<openRadio>(std::make_shared<syncTask>(handPool())));
    EXPECT_EQ(radio->transport.create(parseIpv4(board->address().c_str()), 1024), 0);
    radio->arrival.assign(1024, 0);
    radio->threadStarted = true; // turns are taken by hand
    radio->maxAdcValue.set(32768);
    radio->maxHwReceivers.set(8);
    radio->clockFrequency.set(static_cast<int32_t>(options.board->clock_Hz));
    radio->HLite2Gain.set(options.board->gain == sim::gainForm::liteSecond);
  }
  ~simBench() { runAll(); }
  void turn() {
    radio->rxTurn();
    runAll();
    board->poll();
  }
  bool start() {
    radio->initialise();
    radio->startRadio();
    for (int i = 0; i < 100 && radio->sendRing.front(); i++) turn();
    return board->report().streaming;
  }
  // The next `count` datagrams, all handled and answered.
  void stream(std::size_t count) {
    while (count > 0) {
      const std::size_t n = std::min<std::size_t>(count, 16);
      ASSERT_EQ(board->emit(n), n);
      const uint32_t before = radio->receivedCounter.load();
      const auto end = clock_::now() + std::chrono::seconds(10);
      while (radio->receivedCounter.load() - before < n && clock_::now() < end) turn();
      count -= n;
    }
    for (int i = 0; i < 200 && radio->sendRing.front(); i++) turn();
  }
  // Datagrams until the receiver's chunk being filled has at least `count` samples; those.
  samples collect(int receiver, uint64_t count) {
    const auto& hw = radio->hwReceivers[static_cast<std::size_t>(receiver)];
    for (int i = 0; i < 4000 && (hw.chunk.count < count || hw.fillPosition < count); i++) stream(1);
    EXPECT_GE(hw.fillPosition, count);
    return samples(hw.chunk.data, hw.chunk.data + std::min(count, hw.fillPosition));
  }

  std::shared_ptr<sim::bandScene> scene = std::make_shared<sim::bandScene>();
  std::unique_ptr<sim::protocol1Radio> board;
  std::shared_ptr<openRadio> radio;
};

// dB of the part of z at f (Hz), Hann-weighted.
double level(const samples& z, double f, double rate) {
  std::complex<double> sum = 0;
  double weight = 0;
  for (std::size_t n = 0; n < z.size(); n++) {
    const double w = 1 - std::cos(2 * M_PI * (static_cast<double>(n) + 0.5) / static_cast<double>(z.size()));
    sum += w * z[n] * std::polar(1.0, -2 * M_PI * f * static_cast<double>(n) / rate);
    weight += w;
  }
  return 20 * std::log10(std::abs(sum) / weight + 1e-30);
}

} // namespace

// A carrier at centre + d stands at -d in the signal code, at its level, in even and odd zones alike.
TEST(HpsdrRadioSimTest, carriersArriveAtTheirLevelOnTheirSide) {
  struct {
    int receivers;
    int32_t rate, centre;
  } const cases[] = {
      {1, 48000, 7050000}, {1, 96000, 40000000}, {2, 192000, 14100000}, {4, 96000, 50100000}, {8, 384000, 3600000}};
  for (const auto& [receivers, rate, centre] : cases) {
    SCOPED_TRACE(centre);
    sim::radioOptions options;
    options.receivers = 8;
    simBench b(options);
    b.scene->addCarrier(centre + 9000, -40);
    b.radio->SampleRate.set(rate);
    b.radio->stopToAddReceiver.set(false);
    for (int i = 1; i < receivers; i++) b.radio->addHwReceiver(centre + i * 1000);
    ASSERT_TRUE(b.start());
    b.radio->hwReceivers[0].frequency = centre;
    b.radio->frequenciesChanged();
    b.stream(static_cast<std::size_t>(60 * receivers * rate / 48000)); // the registers go round
    const samples z = b.collect(0, 480);
    EXPECT_NEAR(level(z, -9000, rate), -40, 0.05);
    EXPECT_LT(level(z, 9000, rate), -100);
    if (receivers > 1) {
      EXPECT_NEAR(level(b.collect(1, 480), -8000, rate), -40, 0.05);
    }
    EXPECT_EQ(b.radio->ep6SeqErrors.value, 0);
    EXPECT_EQ(b.board->report().problems, 0u);
  }
}

TEST(HpsdrRadioSimTest, theBoardSeesItsSettings) {
  sim::radioOptions options;
  options.receivers = 4;
  simBench b(options);
  b.radio->stopToAddReceiver.set(false);
  b.radio->SampleRate.set(96000);
  b.radio->cwHangTime.set(300);
  b.radio->drive.set(250);
  b.radio->addHwReceiver(14200000);
  b.radio->addHwReceiver(40000000);
  ASSERT_TRUE(b.start());
  b.radio->J16Set.items[5]->rx.set(0x2a);
  b.stream(200);
  const auto s = b.board->registers().settings();
  EXPECT_EQ(s.sampleRate_Hz, 96000);
  EXPECT_EQ(s.receivers, 3);
  EXPECT_EQ(s.rxFrequency_Hz[0], 14095600u);
  EXPECT_EQ(s.rxFrequency_Hz[1], 14200000u);
  EXPECT_EQ(s.rxFrequency_Hz[2], static_cast<uint32_t>(options.board->clock_Hz) - 40000000u);
  EXPECT_EQ(s.rxFrequency_Hz[3], 10000000u);
  EXPECT_EQ(s.filterBits, 0x2a);
  EXPECT_EQ(s.drive, 224) << "the board knows sixteen levels";
  EXPECT_EQ(s.cwHangTime_ms, 300);
  EXPECT_TRUE(s.duplex);
  EXPECT_FALSE(s.mox);
  const auto report = b.board->report();
  EXPECT_EQ(report.problems, 0u);
  EXPECT_TRUE(report.iqOn && report.widebandOn);
  EXPECT_EQ(report.transmit.withoutMox, 0u);
}

// Losses, repeats and changes of order shift the answers' places, never their count by the rule on the numbers.
TEST(HpsdrRadioSimTest, sequenceBreaksCountAndThePaceHolds) {
  simBench b;
  ASSERT_TRUE(b.start());
  sim::faultPlan faults;
  faults.loseAt = {10, 50, 51, 52};
  b.board->setFaults(faults);
  b.board->recordArrivals(true);
  std::size_t due = 0;
  for (uint64_t s = 0; s < 100; s++) due += faults.loseAt.count(static_cast<uint32_t>(s)) == 0; // one period each
  for (int i = 0; i < 100; i++) {
    b.board->emit(1);
    for (int turns = 0; turns < 2; turns++) b.turn();
  }
  for (int i = 0; i < 20; i++) b.turn();
  EXPECT_EQ(b.radio->ep6SeqErrors.value, 2);
  EXPECT_EQ(b.board->arrivals().size(), due);
  EXPECT_EQ(b.board->report().problems, 0u) << "our own numbers have no gap";
}

TEST(HpsdrRadioSimTest, corruptedAndCutDatagramsDoNoHarm) {
  simBench b;
  ASSERT_TRUE(b.start());
  sim::faultPlan faults;
  faults.corrupt = 0.3;
  faults.cut = 0.3;
  faults.seed = 7;
  b.board->setFaults(faults);
  for (int i = 0; i < 500; i++) {
    b.board->emit(1);
    b.turn();
  }
  const auto end = clock_::now() + std::chrono::seconds(10);
  while (b.radio->transport.outOfKernel() > 0 && clock_::now() < end) b.turn();
  EXPECT_EQ(b.radio->transport.outOfKernel(), 0);
  EXPECT_GT(b.board->report().faults.cut, 50u);
}

TEST(HpsdrRadioSimTest, statusAndWidebandReachTheMeters) {
  simBench b;
  sim::boardStatus status;
  status.ain = {1000, 200, 0, 0, 1000, 0};
  status.ptt = true;
  b.board->setStatus(status);
  b.scene->addCarrier(7000000, -26);
  ASSERT_TRUE(b.start());
  for (int i = 0; i < 300 && !b.radio->adcPeak.hasValue; i++) b.stream(16);
  b.radio->adcPeak.hasValue = false; // the gain has been written by now
  for (int i = 0; i < 300 && !b.radio->adcPeak.hasValue; i++) b.stream(16);
  EXPECT_TRUE(b.radio->RadioPtt.value);
  EXPECT_NEAR(b.radio->Temp.value, (1000.0 / 4096 * 3.26 - 0.5) * 100, 1e-6);
  EXPECT_EQ(b.radio->FwdPwr.value, 0.0f) << "not while receiving";
  EXPECT_GT(b.radio->adcPeak.value, 0.0);
}

// The whole thing: threads on both sides, real time.
TEST(HpsdrRadioSimCONCURRENTTest, aRunningRadioStreamsWithoutABreak) {
  const auto scene = std::make_shared<sim::bandScene>();
  auto board = sim::protocol1Radio::onFreeLoopback({}, scene);
  board->run();
  static auto* pool = new sothreadpool(2); // lives as long as the process
  const auto radio = keptByCore(std::make_shared<openRadio>(std::make_shared<syncTask>(pool)));
  asyncObject& target = *radio;
  target.queueSeqProcess(seqTask(
      [radio, address = board->address()] {
        radio->ipAddress.set(address);
        radio->start();
      },
      "Radio.start()"));
  ASSERT_TRUE(board->waitUntil([](const auto& r) { return r.iqSent > 300; }));
  ASSERT_TRUE(board->waitUntil([](const auto& r) { return r.dataReceived > 300; }));
  const auto report = board->report();
  EXPECT_EQ(report.settings.sampleRate_Hz, 48000);
  EXPECT_EQ(report.settings.rxFrequency_Hz[0], 14095600u);
  EXPECT_EQ(radio->ep6SeqErrors.get(), 0);
  target.queueSeqProcess(seqTask([radio] { radio->stop(); }, "Radio.stop()"));
  EXPECT_TRUE(board->waitUntil([](const auto& r) { return !r.streaming; }));
  EXPECT_EQ(board->report().problems, 0u);
  board->stop();
}
