#include "host/transmitter.h"
#include <gtest/gtest.h>

using namespace larchhost;

namespace {

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
