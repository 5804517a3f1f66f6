#include "tests/radio/logCapture.h"
#include "tests/transceiver/chainTesting.h"
#include <gtest/gtest.h>
#include <limits>

namespace larch::test {
namespace {

using words = std::vector<std::string>;

class vtrxTest : public testing::Test {
 protected:
  vtrxTest() {
    s.env.turns();
    s.radio->take();
  }
  words asked() {
    s.env.turns();
    return s.radio->take();
  }

  station s;
  std::shared_ptr<vtrx> t = s.transceiver;
};

int updates = 0;
int32_t lastNumber = 0;
bool lastFlag = false;
handle* lastHandle = nullptr;
void onNumber(int32_t v) {
  updates++;
  lastNumber = v;
}
void onFlag(bool v) {
  updates++;
  lastFlag = v;
}
void onHandle(handle* h) {
  updates++;
  lastHandle = h;
}

TEST_F(vtrxTest, initGivesGainControlsAndSystemDevicesToTheHost) {
  updates = 0;
  t->rxagc.bind(t.get(), onHandle);
  s.env.pool->getUpdates();
  ASSERT_EQ(updates, 1);
  EXPECT_EQ(lastHandle->object, t->rxagc.value);
  delete lastHandle;
  t->txagc.bind(t.get(), onHandle);
  s.env.pool->getUpdates();
  EXPECT_EQ(lastHandle->object, t->txagc.value);
  delete lastHandle;
  EXPECT_EQ(t->txagc.value->Volume.value, 0.0f) << "silent while transmitting";
  EXPECT_TRUE(t->txagc.value->Volume.hasValue);
  EXPECT_EQ(t->rxagc.value->Volume.value, 1.0f);
  t->audioOutput.bind(t.get(), onNumber);
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 3);
  EXPECT_EQ(lastNumber, -1) << "no device here";
  t->audioInput.bind(t.get(), onNumber);
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 4);
  EXPECT_EQ(lastNumber, 0);
  EXPECT_EQ(t->specFreq.value, 14095600);
}

TEST_F(vtrxTest, defaultsAreNotTold) {
  updates = 0;
  t->vfo.bind(t.get(), onNumber);
  t->drive.bind(t.get(), onNumber);
  t->bandwidthSufficient.bind(t.get(), onFlag);
  s.env.pool->getUpdates();
  EXPECT_EQ(updates, 0);
  EXPECT_EQ(t->vfo.value, 14095600);
  EXPECT_EQ(t->ADCs.value, 1);
  for (int32_t slot : t->hwReceiver) EXPECT_EQ(slot, -1);
}

TEST_F(vtrxTest, tuningAsksTheRadioMovesTheSpectrumAndTellsTheMode) {
  s.useMode();
  t->specOffset.set(1000);
  t->vfo.set(7100000);
  EXPECT_EQ(asked(), words{"setRxFrequency 7100000 1"});
  EXPECT_EQ(t->specFreq.value, 7101000);
  EXPECT_EQ(s.mode->take(), words{"vfoChanged 7100000"});
}

TEST_F(vtrxTest, presentVfoChangesNothing) {
  s.useMode();
  t->vfo.set(t->vfo.value);
  EXPECT_TRUE(asked().empty());
  EXPECT_TRUE(s.mode->calls.empty());
}

TEST_F(vtrxTest, spectrumOffsetMovesItsCentreAtOnceWithoutTuning) {
  updates = 0;
  t->specFreq.bind(t.get(), onNumber);
  t->specOffset.set(-2500);
  s.env.pool->getUpdates();
  EXPECT_EQ(lastNumber, 14093100);
  EXPECT_TRUE(asked().empty());
}

TEST_F(vtrxTest, sumBeyondTheScaleWraps) {
  t->specOffset.set(std::numeric_limits<int32_t>::max());
  EXPECT_EQ(t->specFreq.value, static_cast<int32_t>(14095600u + 0x7fffffffu));
}

TEST_F(vtrxTest, adcMaskAsksTheRadioWithTheSameFrequency) {
  t->ADCs.set(3);
  EXPECT_EQ(asked(), words{"setRxFrequency 14095600 3"});
}

TEST_F(vtrxTest, directTuningLeavesTheVfo) {
  t->setRxFrequency(3600000);
  EXPECT_EQ(asked(), words{"setRxFrequency 3600000 1"});
  EXPECT_EQ(t->vfo.value, 14095600);
}

TEST_F(vtrxTest, removeStopsAndAsksTheRadio) {
  s.useMode();
  t->start();
  t->remove();
  EXPECT_EQ(asked(), words{"removeVtrx"});
  EXPECT_EQ(s.radio->removed, t);
  s.chunk(mirroredTone(0, 48000, 512), 14095600, 48000);
  EXPECT_EQ(s.mode->blocks, 0);
  s.radio->removed.reset();
}

TEST_F(vtrxTest, detachedTransceiverAsksNobody) {
  t->detach();
  t->vfo.set(7000000);
  t->ADCs.set(2);
  t->ptt.set(true);
  t->modulateTask();
  t->remove();
  EXPECT_TRUE(asked().empty());
  EXPECT_EQ(s.radio->groups, 0);
  EXPECT_EQ(t->specFreq.value, 7000000) << "all else goes on";
}

TEST_F(vtrxTest, deadRadioIsNobody) {
  s.radio.reset();
  t->vfo.set(7000000);
  t->ptt.set(true);
  t->modulateTask();
  t->remove();
  s.env.turns();
  EXPECT_EQ(t->specFreq.value, 7000000);
}

TEST_F(vtrxTest, swapAttachesTheNewModeAndLetsTheOldOneGo) {
  auto first = keptByCore(std::make_shared<fakeMode>(s.env.group)), second = keptByCore(std::make_shared<fakeMode>(s.env.group));
  t->setModulation(first);
  EXPECT_EQ(first->take(), words{"attached"});
  EXPECT_EQ(first->owner.load().object.lock(), t);
  EXPECT_EQ(first->owner.load().ptt, &t->ptt);
  EXPECT_EQ(first->owner.load().vfo, &t->vfo);
  EXPECT_EQ(first->owner.load().audioOut, &t->audioOut);
  t->setModulation(second);
  EXPECT_EQ(first->owner.load().object.lock(), nullptr);
  EXPECT_EQ(first->owner.load().ptt, nullptr);
  EXPECT_EQ(second->owner.load().object.lock(), t);
  const std::weak_ptr<fakeMode> old = first;
  first.reset();
  EXPECT_TRUE(old.expired()) << "nothing holds the old mode";
  t->setModulation(second);
  EXPECT_EQ(second->owner.load().object.lock(), t) << "set again: attached still";
  t->setModulation(nullptr);
  EXPECT_EQ(second->owner.load().object.lock(), nullptr);
}

TEST_F(vtrxTest, modeThatWentToAnotherTransceiverKeepsItsNewOwner) {
  const auto other = s.make();
  t->setModulation(s.mode);
  other->setModulation(s.mode);
  t->setModulation(nullptr);
  EXPECT_EQ(s.mode->owner.load().object.lock(), other);
}

TEST_F(vtrxTest, modeDoesNotKeepItsTransceiver) {
  t->setModulation(s.mode);
  const std::weak_ptr<vtrx> gone = t;
  t.reset();
  s.transceiver.reset();
  s.env.turns();
  s.env.pool->getUpdates();
  EXPECT_TRUE(gone.expired());
  EXPECT_EQ(s.mode->owner.load().object.lock(), nullptr);
}

TEST_F(vtrxTest, filtersReachTheModeAsGiven) {
  s.useMode();
  t->setRxFilter(-2700, -300);
  t->setTxFilter(200, 2900);
  EXPECT_EQ(s.mode->take(), (words{"setRxFilter -2700 -300", "setTxFilter 200 2900"}));
}

TEST_F(vtrxTest, withoutAModeFiltersAreKept) {
  t->setRxFilter(300, 2700);
  t->setTxFilter(300, 2700);
  s.useMode();
  t->start();
  t->vfo.set(7000000);
  for (uint64_t i = 0; i < 8; i++) s.chunk(mirroredTone(-1000, 48000, 512, 1.0, i * 512), 7000000, 48000);
  EXPECT_LT(std::abs(s.mode->heard.back()), 1e-8) << "the lower side is stopped";
}

TEST_F(vtrxTest, objectWithoutRadioAndInitBearsEveryCall) {
  const auto bare = keptByCore(std::make_shared<vtrx>(s.env.group));
  const auto useAll = [&] {
    bare->start();
    bare->setRxFilter(300, 2700);
    bare->setTxFilter(300, 2700);
    bare->setRxFrequency(7000000);
    bare->vfo.set(bare->vfo.value + 1);
    bare->ptt.set(!bare->ptt.value);
    bare->modulateTask();
    bare->processRxChunk(mirroredTone(0, 192000, 2048), 14095600, 192000, {}, 0, 0);
    bare->processRxChunk({}, 0, 0, {}, 0, 0);
    bare->stop();
    bare->remove();
    bare->detach();
  };
  useAll();
  bare->setModulation(s.mode);
  useAll();
  bare->setModulation(nullptr);
  useAll();
  s.env.turns();
}

TEST_F(vtrxTest, audioPathsFollowStartStopMutedAndTheDevicesThenCurrent) {
  logCapture log;
  EXPECT_EQ(t->micIn.id(), -1);
  t->start();
  EXPECT_EQ(t->micIn.id(), 0);
  t->audioInput.set(77);
  EXPECT_EQ(log.times("Invalid audio stream id 77"), 1) << "running: opens the device";
  t->muted.set(true);
  EXPECT_EQ(t->audioOut.deviceId(), -1);
  t->audioInput.set(78);
  t->audioOutput.set(55);
  EXPECT_EQ(log.times("Invalid audio stream id 78"), 0) << "muted: closed";
  EXPECT_EQ(t->audioOut.deviceId(), -1);
  t->muted.set(false);
  EXPECT_EQ(log.times("Invalid audio stream id 78"), 1) << "the device then current";
  EXPECT_EQ(t->audioOut.deviceId(), 55);
  t->audioOutput.set(56);
  EXPECT_EQ(t->audioOut.deviceId(), 56);
  t->stop();
  EXPECT_EQ(t->audioOut.deviceId(), -1);
  t->audioOutput.set(57);
  t->audioInput.set(79);
  EXPECT_EQ(t->audioOut.deviceId(), -1) << "stopped: stays closed";
  EXPECT_EQ(log.times("Invalid audio stream id 79"), 0);
  t->muted.set(true);
  t->muted.set(false);
  EXPECT_EQ(t->audioOut.deviceId(), -1);
  EXPECT_EQ(log.times("Invalid audio stream id 79"), 1) << "the microphone follows muted alone";
  t->start();
  EXPECT_EQ(t->audioOut.deviceId(), 57);
}

TEST_F(vtrxTest, startWhileMutedOpensNothing) {
  t->audioOutput.set(57);
  t->muted.set(true);
  t->start();
  EXPECT_EQ(t->audioOut.deviceId(), -1);
}

class vtrxTransmitTest : public vtrxTest {
 protected:
  void groups(int n) {
    for (int i = 0; i < n; i++) t->modulateTask();
    s.env.turns();
  }
};

TEST_F(vtrxTransmitTest, keyDownTellsTheRadioThenTheMode) {
  s.useMode();
  s.mode->txFinishing = true;
  t->ptt.set(true);
  EXPECT_EQ(asked(), words{"setPtt true"});
  EXPECT_TRUE(t->radioPttUp);
  EXPECT_EQ(s.mode->take(), words{"pttChanged true"});
  EXPECT_FALSE(s.mode->txFinishing);
}

TEST_F(vtrxTransmitTest, keyUpKeepsTheRadioKeyedUntilTheFallIsOver) {
  s.useMode();
  s.mode->useTxFilter = false;
  t->ptt.set(true);
  groups(20);
  s.radio->take();
  s.mode->take();
  s.radio->sent.clear();
  t->ptt.set(false);
  EXPECT_TRUE(asked().empty());
  EXPECT_EQ(s.mode->take(), words{"pttChanged false"});
  EXPECT_TRUE(s.mode->txFinishing);
  int sentGroups = 0;
  while (s.radio->asked.empty() && sentGroups < 100) {
    groups(1);
    sentGroups++;
  }
  EXPECT_EQ(sentGroups, 9) << "the group in which 512 + 504 samples are reached";
  EXPECT_EQ(s.radio->take(), words{"setPtt false"});
  EXPECT_FALSE(t->radioPttUp);
  EXPECT_GT(s.radio->sent[0].real(), 0.999) << "the fall starts at once";
  for (size_t i = 512; i < s.radio->sent.size(); i++) ASSERT_EQ(s.radio->sent[i], cdouble(0));
  groups(1);
  EXPECT_EQ(s.radio->take(), words{"setPtt false"}) << "again with each group";
}

TEST_F(vtrxTransmitTest, keyUpWithoutAModeUnkeysAtOnce) {
  t->ptt.set(true);
  EXPECT_EQ(asked(), words{"setPtt true"});
  t->ptt.set(false);
  EXPECT_EQ(asked(), words{"setPtt false"});
}

TEST_F(vtrxTransmitTest, eachTaskAnswersWithOneGroupOf126) {
  groups(3);
  EXPECT_EQ(s.radio->groups, 3);
  EXPECT_EQ(s.radio->sent, std::vector<cdouble>(3 * 126, cdouble(0))) << "without a mode";
  s.useMode();
  t->ptt.set(true);
  groups(20);
  EXPECT_EQ(s.radio->sent.size(), 23u * 126);
  EXPECT_EQ(s.mode->microphone, std::vector<cdouble>(512, cdouble(0))) << "no microphone: zeros";
}

TEST_F(vtrxTransmitTest, tuneSendsACarrier) {
  s.useMode();
  t->tune.set(true);
  t->ptt.set(true);
  groups(20);
  EXPECT_EQ(s.radio->sent.back(), cdouble(0.99));
  EXPECT_EQ(s.mode->take(), words{"pttChanged true"}) << "the mode isn't asked";
}

TEST_F(vtrxTransmitTest, aModeInWhichAnotherTransceiverIsSendsSilence) {
  s.useMode();
  t->ptt.set(true);
  groups(20);
  s.mode->take();
  {
    const modeTurn ofAnother(s.mode.get());
    groups(20);
    EXPECT_TRUE(s.mode->take().empty()) << "it isn't asked";
    EXPECT_EQ(s.radio->sent.size(), 40u * 126);
    EXPECT_EQ(s.radio->sent.back(), cdouble(0));
  }
  groups(20);
  EXPECT_FALSE(s.mode->take().empty());
  EXPECT_NE(s.radio->sent.back(), cdouble(0));
}

} // namespace
} // namespace larch::test
