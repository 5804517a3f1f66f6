#include "host/transmitter.h"
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace larchhost;

// A transceiver that does what the test says: these take the place of the library's.
namespace {

struct standIn {
  larch_bool_cb ptt = nullptr;
  larch_int32_cb echo = nullptr;
  std::vector<std::string> commands;
  int32_t ticket = 0;
};
standIn* transceiver = nullptr;
void note(const char* what, bool on) { transceiver->commands.push_back(std::string(what) + (on ? " on" : " off")); }

} // namespace

void vtrx_bindptt(vtrx*, larch_bool_cb callback) { transceiver->ptt = callback; }
void vtrx_bindmicLevel(vtrx*, larch_double_cb) {}
void vtrx_setTxOffset(vtrx*, int32_t) {}
void vtrx_setVoxThreshold(vtrx*, double) {}
void vtrx_setVoxHold(vtrx*, double) {}
void vtrx_setDelayAudio(vtrx*, bool) {}
void vtrx_setdrive(vtrx*, int32_t) {}
void vtrx_setptt(vtrx*, bool on) { note("ptt", on); }
void vtrx_setuseVox(vtrx*, bool on) { note("VOX", on); }
void asyncObject_bindEcho(asyncObject*, larch_int32_cb callback) { transceiver->echo = callback; }
void asyncObject_Ping(asyncObject*, int32_t ticket) { transceiver->ticket = ticket; }

namespace {

class transmitterEndTest : public testing::Test {
 protected:
  transmitterEndTest() { transceiver = &seen_; }
  ~transmitterEndTest() override { transceiver = nullptr; }
  static transmitSettings withVox() {
    transmitSettings s;
    s.allowed = s.vox = true;
    return s;
  }
  vtrx* handle() { return reinterpret_cast<vtrx*>(&seen_); }
  standIn seen_;
};

TEST_F(transmitterEndTest, aVoxThatKeysBeforeItIsOffIsLiftedAndWaitedForBehindTheAnswer) {
  transmitter t(withVox());
  t.attach(handle());
  t.update();
  t.guard().end();
  t.update();
  t.ask();
  EXPECT_FALSE(t.answered());
  seen_.ptt(true);
  seen_.echo(seen_.ticket);
  t.update();
  EXPECT_TRUE(t.answered());
  EXPECT_FALSE(t.guard().settled());
  EXPECT_EQ(seen_.commands, (std::vector<std::string>{"VOX on", "VOX off", "ptt off"}));
}

TEST_F(transmitterEndTest, aReportBehindTheEndCommandsATransceiverThatIsGoneNoMore) {
  transmitter t(withVox());
  t.attach(handle());
  t.update();
  t.guard().end();
  t.update();
  t.detach();
  seen_.ptt(true);
  t.update();
  t.ask();
  EXPECT_TRUE(t.answered());
  EXPECT_EQ(seen_.commands, (std::vector<std::string>{"VOX on", "VOX off"}));
}

transmitSettings allowed() {
  transmitSettings s;
  s.allowed = true;
  return s;
}

TEST(transmitterTest, aPressBehindACarrierSendsSpeechAlsoWithinOnePoll) {
  transmitter t(allowed());
  t.toggleTune();
  EXPECT_TRUE(t.tuning());
  t.toggleTune(); // ends it
  t.toggleKey();
  EXPECT_TRUE(t.guard().keyed());
  EXPECT_FALSE(t.tuning());
  t.toggleKey();

  t.toggleTune();
  t.toggleKey(); // ends it, too
  EXPECT_FALSE(t.guard().keyed());
  t.toggleKey();
  EXPECT_FALSE(t.tuning());
}

TEST(transmitterTest, aCarrierThatAnybodyEndedIsOver) {
  transmitter t(allowed());
  t.toggleTune();
  t.guard().release(); // as a signal, or the radio's own key
  EXPECT_FALSE(t.tuning());
  t.guard().press();
  EXPECT_FALSE(t.tuning());
  t.toggleTune(); // from speech to the carrier
  EXPECT_TRUE(t.tuning());
}

} // namespace
