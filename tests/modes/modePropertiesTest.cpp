// What the modes hold before their signal is looked at: constructor values, flags, rates and posted verbs.
#include "audio/audioOutputStream.h"
#include "link/MultiPskModDemod.h"
#include "modes/JTModDemod.h"
#include "modes/amModDemod.h"
#include "modes/chirpyModDemod.h"
#include "modes/cwModDemod.h"
#include "modes/fmModDemod.h"
#include "modes/fskModDemod.h"
#include "modes/hellschreiberModDemod.h"
#include "modes/RTTYModDemod.h"
#include "tests/runtime/testGroup.h"
#include <cmath>
#include <gtest/gtest.h>

using namespace larch;

namespace {

struct modePropertiesTest : testing::Test {
  testGroup g;
  template <class X> std::shared_ptr<X> make() { return keptByCore(std::make_shared<X>(g.group)); }
};

struct transceiver : asyncObject {
  using asyncObject::asyncObject;
  property<bool> ptt{false};
};

void expectVoiceFlags(const modDemod& mode) {
  EXPECT_TRUE(mode.useTxFilter);
  EXPECT_TRUE(mode.blockedTx);
  EXPECT_FALSE(mode.minimumPhaseRx);
  EXPECT_EQ(mode.txTailSamples, 512);
}

} // namespace

TEST_F(modePropertiesTest, onlyMorseAsksForPromptKeying) {
  const auto cw = make<cwModDemod>();
  EXPECT_FALSE(cw->useTxFilter);
  EXPECT_FALSE(cw->blockedTx);
  EXPECT_TRUE(cw->minimumPhaseRx);
  EXPECT_EQ(cw->txTailSamples, 512);
  expectVoiceFlags(*make<amModDemod>());
  expectVoiceFlags(*make<fmModDemod>());
  expectVoiceFlags(*make<RTTYModDemod>());
  expectVoiceFlags(*make<hellschreiberModDemod>());
  expectVoiceFlags(*make<fskModDemod>());
  expectVoiceFlags(*make<JTModDemod>());
  expectVoiceFlags(*make<chirpyModDemod>());
  expectVoiceFlags(*make<MultiPskModDemod>());
}

TEST_F(modePropertiesTest, fmAsksForTheWideRateFromTwelveKilohertzOn) {
  const auto fm = make<fmModDemod>();
  EXPECT_EQ(fm->deviation.value, 75000.0);
  EXPECT_EQ(fm->sampleRate(), 384000);
  fm->deviation.set(11999.0);
  EXPECT_EQ(fm->sampleRate(), 48000);
  fm->deviation.set(12000.0);
  EXPECT_EQ(fm->sampleRate(), 384000);
  fm->deviation.set(std::nan(""));
  EXPECT_EQ(fm->sampleRate(), 384000);
}

TEST_F(modePropertiesTest, timedSlotsTransmitAtFifteenHundredHertz) {
  const auto jt = make<JTModDemod>();
  EXPECT_EQ(jt->txFreq.value, 1500);
  EXPECT_TRUE(jt->txFreq.hasValue);
  EXPECT_EQ(jt->rxFreq.value, 0);
}

TEST_F(modePropertiesTest, theKeyRaisesPttOnTheTransceiversGroup) {
  const auto cw = make<cwModDemod>();
  const auto held = make<transceiver>();
  cw->owner.publish({held, &held->ptt, nullptr, nullptr});
  cw->keyDown();
  EXPECT_FALSE(held->ptt.value);
  g.turns();
  EXPECT_TRUE(held->ptt.value);
  EXPECT_TRUE(held->ptt.hasValue);
  cw->keyUp();
  g.turns();
  EXPECT_TRUE(held->ptt.value); // the hang time drops it
}

TEST_F(modePropertiesTest, theKeySoundsTheTransceiversSidetone) {
  const auto cw = make<cwModDemod>();
  const auto held = make<transceiver>();
  audioOutputStream speaker;
  cw->owner.publish({held, &held->ptt, nullptr, &speaker});
  cw->keyDown();
  g.turns();
  EXPECT_TRUE(speaker.keyA.load());
  cw->keyUp();
  g.turns();
  EXPECT_FALSE(speaker.keyA.load());
}
