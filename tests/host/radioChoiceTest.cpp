// Which of the radios that answered is taken.
#include "host/commands.h"
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

using namespace larchhost;

namespace {

foundRadio radioAt(const std::string& address, int protocol, bool inUse = false) {
  foundRadio r;
  r.address = address;
  r.protocol = protocol;
  r.inUse = inUse;
  return r;
}

std::string refusal(const std::vector<foundRadio>& found) {
  try {
    pickRadio(found, false);
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "";
}

} // namespace

TEST(radioChoiceTest, theOnlyRadioIsTakenWhateverItSpeaks) {
  EXPECT_EQ(pickRadio({radioAt("10.0.0.1", 1)}, false).protocol, 1);
  EXPECT_EQ(pickRadio({radioAt("10.0.0.1", 2)}, false).protocol, 2);
}

TEST(radioChoiceTest, aRadioOfBothProtocolsIsTakenByTheOneThatTransmits) {
  EXPECT_EQ(pickRadio({radioAt("10.0.0.1", 2), radioAt("10.0.0.1", 1)}, false).protocol, 1);
  EXPECT_EQ(pickRadio({radioAt("10.0.0.1", 1), radioAt("10.0.0.1", 2)}, true).protocol, 1);
}

TEST(radioChoiceTest, aRadioInUseIsPassedOverOrForced) {
  EXPECT_EQ(pickRadio({radioAt("10.0.0.1", 1, true), radioAt("10.0.0.2", 2)}, false).address, "10.0.0.2");
  EXPECT_NE(refusal({radioAt("10.0.0.1", 2, true)}).find("10.0.0.1 is in use"), std::string::npos);
  EXPECT_EQ(pickRadio({radioAt("10.0.0.1", 2, true)}, true).address, "10.0.0.1");
}

TEST(radioChoiceTest, noneAndSeveralAreSaidPlainly) {
  EXPECT_EQ(refusal({}), "no radio answers; give its address with --radio");
  EXPECT_EQ(refusal({radioAt("10.0.0.1", 1), radioAt("10.0.0.2", 2)}),
            "several radios answer: 10.0.0.1 10.0.0.2; choose one with --radio");
}
