// The thread of a simulated radio, on a toy whose datagrams are numbers.
#include "sim/drivenRadio.h"
#include <gtest/gtest.h>
#include <set>
#include <utility>
#include "sim/datagramSocket.h"

using namespace larch::sim;

namespace {

struct toyReport {
  int taken = 0, turns = 0, ends = 0;
};

class toyRadio final : public drivenRadio<toyReport> {
 public:
  ~toyRadio() override { stop(); }
  void send(int datagrams) {
    {
      const std::lock_guard lock(guard);
      waiting += datagrams;
    }
    wake();
  }
  bool knewItself() const { return knew; }               // at the first moment of each thread
  bool polledItself() const { return takenByPoll != 0; } // a thread, and got something
  bool tookOnOtherThread() const {
    const std::lock_guard lock(guard);
    return foreign;
  }

 private:
  size_t take() override {
    foreign = foreign || (thread != std::thread::id{} && thread != std::this_thread::get_id());
    seen.taken += waiting;
    return static_cast<size_t>(std::exchange(waiting, 0));
  }
  toyReport reportGuarded() const override { return seen; }
  void ended() override {
    ++seen.ends;
    thread = {};
  }
  void loop() override {
    knew = knew && byItself();
    takenByPoll += poll();
    for (;;) {
      {
        const std::lock_guard lock(guard);
        thread = std::this_thread::get_id();
        if (stopping) return;
        take();
        ++seen.turns;
        changed.notify_all();
      }
      wait(std::chrono::hours(1));
    }
  }
  void wait(std::chrono::milliseconds limit) override {
    std::unique_lock lock(bell);
    rung.wait_for(lock, limit, [&] { return std::exchange(woken, false); });
  }
  void wake() override {
    const std::lock_guard lock(bell);
    woken = true;
    rung.notify_all();
  }

  toyReport seen;
  int waiting = 0;
  bool foreign = false, knew = true;
  size_t takenByPoll = 0;
  std::thread::id thread;
  std::mutex bell;
  std::condition_variable rung;
  bool woken = false;
};

} // namespace

TEST(drivenRadioTest, byHandAPollTakesWhatCameAndSaysHowMuch) {
  toyRadio radio;
  EXPECT_EQ(radio.poll(), 0u);
  radio.send(3);
  EXPECT_EQ(radio.report().taken, 0) << "nothing happens by itself";
  EXPECT_EQ(radio.poll(), 3u);
  EXPECT_EQ(radio.report().taken, 3);
}

TEST(drivenRadioTest, byItselfTheThreadTakesAllAndAPollNothing) {
  toyRadio radio;
  radio.run();
  ASSERT_TRUE(radio.waitUntil([](const toyReport& r) { return r.turns > 0; }));
  for (int i = 1; i <= 20; ++i) {
    radio.send(1);
    EXPECT_EQ(radio.poll(), 0u);
    ASSERT_TRUE(radio.waitUntil([&](const toyReport& r) { return r.taken == i; }));
  }
  EXPECT_FALSE(radio.tookOnOtherThread());
}

TEST(drivenRadioTest, theThreadKnowsFromItsFirstMomentThatItRuns) {
  toyRadio radio;
  radio.send(1);
  for (int i = 1; i <= 50; ++i) {
    radio.run();
    ASSERT_TRUE(radio.waitUntil([&](const toyReport& r) { return r.turns >= i; }));
    radio.stop();
  }
  EXPECT_TRUE(radio.knewItself());
  EXPECT_FALSE(radio.polledItself());
}

TEST(drivenRadioTest, stopWakesTheThreadAndEndsItOnce) {
  toyRadio radio;
  radio.stop();
  EXPECT_EQ(radio.report().ends, 0) << "it didn't run";
  radio.run();
  radio.run();
  ASSERT_TRUE(radio.waitUntil([](const toyReport& r) { return r.turns == 1; })); // it sleeps for an hour now
  radio.stop();
  radio.stop();
  EXPECT_EQ(radio.report().ends, 1);
}

TEST(drivenRadioTest, behindStopItIsDrivenByHandAndMayRunAnew) {
  toyRadio radio;
  radio.run();
  radio.stop();
  radio.send(2);
  EXPECT_EQ(radio.poll(), 2u);
  radio.run();
  radio.send(1);
  EXPECT_TRUE(radio.waitUntil([](const toyReport& r) { return r.taken == 3; }));
}

TEST(drivenRadioTest, byHandWaitingPollsAndItsConditionMayAskTheRadio) {
  toyRadio radio;
  radio.send(1);
  EXPECT_TRUE(radio.waitUntil([&](const toyReport& r) {
    if (r.taken < 5) radio.send(1);
    return r.taken == radio.report().taken && r.taken == 5;
  }));
}

TEST(drivenRadioTest, waitingEndsWithItsTime) {
  toyRadio radio;
  const auto never = [](const toyReport&) { return false; };
  EXPECT_FALSE(radio.waitUntil(never, std::chrono::milliseconds(1)));
  radio.run();
  EXPECT_FALSE(radio.waitUntil(never, std::chrono::milliseconds(1)));
}

TEST(boundToFreeLoopbackTest, addressesInUseArePassedOver) {
  std::set<std::string> asked;
  const std::string got = boundToFreeLoopback([&](const std::string& address) {
    asked.insert(address);
    if (asked.size() < 4) throw std::system_error(std::make_error_code(std::errc::address_in_use));
    return address;
  });
  EXPECT_EQ(asked.size(), 4u) << "each another one";
  EXPECT_TRUE(asked.contains(got));
}

TEST(boundToFreeLoopbackTest, anotherErrorIsNoReasonToGoOn) {
  int attempts = 0;
  const auto denied = [&](const std::string&) -> int {
    ++attempts;
    throw std::system_error(std::make_error_code(std::errc::permission_denied));
  };
  EXPECT_THROW(boundToFreeLoopback(denied), std::system_error);
  EXPECT_EQ(attempts, 1);
}

TEST(boundToFreeLoopbackTest, itGivesUpWhereAllAreTaken) {
  int attempts = 0;
  const auto taken = [&](const std::string&) -> int {
    ++attempts;
    throw std::system_error(std::make_error_code(std::errc::address_in_use));
  };
  EXPECT_THROW(boundToFreeLoopback(taken), std::system_error);
  EXPECT_EQ(attempts, 1000);
}
