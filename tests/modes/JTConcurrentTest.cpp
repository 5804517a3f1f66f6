// Messages, sets and polls from the host's thread while slots begin and end on the pool's workers.
#include "modes/JTModDemod.h"
#include "modes/slotMailbox.h"
#include "platform/clock.h"
#include "tests/modes/chirpCaptureTesting.h"
#include "tests/support/workingStation.h"
#include "tests/transceiver/chainTesting.h"
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace larch::test {
namespace {

constexpr int32_t centre = 14'074'000, rate = 48000;
constexpr int rounds = 400;

std::atomic<int64_t> utc{1'795'000'000'000'000'000};
int filesTold = 0, pttsSeen = 0;

int64_t steadyNow() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// After all that a message still goes out and a file is told.
void expectAWholeSlot(sothreadpool* pool, const std::shared_ptr<vtrx>& t, const std::shared_ptr<JTModDemod>& jt,
                      const emptyDirectory& directory) {
  set(t, [jt](vtrx& v) {
    v.setModulation(jt);
    v.ptt.set(false);
  });
  set(jt, [&directory](JTModDemod& m) {
    m.saveDirectory.set(directory.path.string() + "/");
    m.samplesPerBlock.set(256);
    m.endPadding.set(0);
    m.Decimation.set(4);
    m.period.set(500);
    m.queueMsg(buff<float>(1000, 1.0f), 1);
  });
  std::atomic<bool> isSet{false};
  post(jt, [&isSet](JTModDemod&) { isSet = true; });
  ASSERT_TRUE(waitFor([&] { return isSet.load(); }));
  pool->getUpdates();
  filesTold = pttsSeen = 0;
  EXPECT_TRUE(waitFor([&] {
    utc += 50'000'000;
    post(t, [](vtrx& v) { v.processRxChunk(cbuff(512, 0.1), centre, rate, {}, 0, 0); });
    pool->getUpdates();
    return filesTold > 0 && pttsSeen > 0;
  }));
}

TEST(JTConcurrentTest, messagesAndSetsComeWhileSlotsBeginAndEnd) {
  static const clockSource source{steadyNow, [] { return utc.load(); },
                                  [](int64_t d) { std::this_thread::sleep_for(std::chrono::nanoseconds(d)); }};
  setClockSource(&source);
  const emptyDirectory directory;
  static auto* pool = new sothreadpool(3); // workers live until the process ends
  const auto signalGroup = std::make_shared<syncTask>(pool), radioGroup = std::make_shared<syncTask>(pool);
  const auto others = std::make_shared<syncTask>(pool);
  const auto radio = keptByCore(std::make_shared<workingRadio>(radioGroup));
  const auto t = keptByCore(std::make_shared<vtrx>(signalGroup));
  t->radio = radio;
  t->init();
  keptByCore(t->rxagc.value);
  keptByCore(t->txagc.value);
  const auto jt = keptByCore(std::make_shared<JTModDemod>(others));
  jt->newFile = [](const char*) { filesTold++; };
  t->ptt.bind(t.get(), [](bool) { pttsSeen++; });
  set(t, [jt](vtrx& v) {
    v.vfo.set(centre);
    v.setModulation(jt);
    v.start();
  });

  // the radio's side, at a pace that the host sets; a round is a fifth of a second of UTC
  std::atomic<int> allowed{0}, done{0};
  std::jthread radioThread([&](const std::stop_token& stop) {
    for (int i = 0; i < rounds; i++) {
      while (allowed.load() <= i && !stop.stop_requested()) sleepFor_ns(50'000);
      if (stop.stop_requested()) return;
      utc += 200'000'000;
      for (int k = 0; k < 3; k++) post(t, [](vtrx& v) { v.processRxChunk(cbuff(512, 0.1), centre, rate, {}, 0, 0); });
      for (int k = 0; k < 3; k++) post(t, [](vtrx& v) { v.modulateTask(); });
      post(t, [&done](vtrx&) { done++; });
    }
  });
  for (int i = 0; i < rounds; i++) {
    set(jt, [i](JTModDemod& m) { m.queueMsg(buff<float>(static_cast<uint64_t>(i % 4), 3.5f), static_cast<uint32_t>(i - 200)); });
    set(jt, [i](JTModDemod& m) { m.samplesPerBlock.set(i % 9 * 100 - 100); });
    set(jt, [i](JTModDemod& m) { m.endPadding.set(i % 5 * 30 - 30); });
    set(jt, [i](JTModDemod& m) { m.Decimation.set(i % 6); });
    set(jt, [i](JTModDemod& m) { m.SaveMode.set(i / 3 % 2); });
    set(jt, [i](JTModDemod& m) { m.period.set(i % 11 == 0 ? 60000 : 500 * (i % 3)); });
    set(jt, [i](JTModDemod& m) { m.samplesPerSymbol.set(i % 300 - 1); });
    set(jt, [i](JTModDemod& m) { m.toneSpacing.set(0.1 * i); });
    set(jt, [i](JTModDemod& m) { m.txFreq.set(i); });
    set(jt, [i, &directory](JTModDemod& m) { m.saveDirectory.set(i % 7 ? directory.path.string() + "/" : "/dev/null/"); });
    if (i % 4 == 3) set(t, [](vtrx& v) { v.ptt.set(false); });
    if (i % 50 == 30) set(t, [](vtrx& v) { v.setModulation(nullptr); });
    if (i % 50 == 31) set(t, [jt](vtrx& v) { v.setModulation(jt); });
    pool->getUpdates();
    allowed = i + 1;
    ASSERT_TRUE(waitFor([&] { return done >= i - 10; })); // the rings hold a thousand each
  }
  radioThread.join();
  ASSERT_TRUE(waitFor([&] { return done == rounds; }));
  expectAWholeSlot(pool, t, jt, directory);
  set(t, [](vtrx& v) { v.remove(); });
  ASSERT_TRUE(waitFor([&] { return radio->removed.load(); }));
  std::atomic<int> last{0};
  for (const std::shared_ptr<asyncObject>& object : {std::shared_ptr<asyncObject>(t), std::shared_ptr<asyncObject>(jt)})
    post(object, [&last](asyncObject&) { last++; });
  ASSERT_TRUE(waitFor([&] { return last == 2; }));
  pool->getUpdates();
  EXPECT_GT(radio->samples.load(), 0u);
  setClockSource(nullptr);
}

// Each message arrives whole, and at most once.
TEST(slotMailboxConcurrentTest, manyPutAndOneTakes) {
  slotMailbox box;
  std::atomic<int> putting{3};
  std::vector<std::jthread> threads;
  for (int k = 0; k < 3; k++) {
    threads.emplace_back([&box, &putting, k] {
      for (int i = 1; i <= 5000; i++) {
        const int32_t tag = k * 10000 + i;
        box.put({buff<float>(i % 10 ? 2 : 0, static_cast<float>(tag)), tag});
      }
      putting--;
    });
  }
  std::vector<int32_t> newest(3, 0);
  for (;;) {
    const bool over = putting == 0;
    if (const auto message = box.take()) {
      ASSERT_EQ(message->tones.count, 2u);
      ASSERT_EQ(message->tones.data[1], static_cast<float>(message->tag));
      const auto from = static_cast<size_t>(message->tag / 10000);
      ASSERT_GT(message->tag % 10000, newest[from]);
      newest[from] = message->tag % 10000;
    } else if (over) {
      break;
    }
  }
  EXPECT_TRUE(box.isEmpty());
}

} // namespace
} // namespace larch::test
