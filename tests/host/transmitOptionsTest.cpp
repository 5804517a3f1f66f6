// What the options of all commands that transmit become.
#include "host/commands.h"
#include <gtest/gtest.h>

namespace larchhost {
namespace {

TEST(transmitOptionsTest, withoutAWordNothingIsKeyedAndNothingDrives) {
  const transmitSettings s = commonSending({});
  EXPECT_FALSE(s.allowed);
  EXPECT_EQ(s.drive, 0);
  EXPECT_EQ(s.timeout, transmitGuard::defaultTimeout);
  EXPECT_EQ(s.microphone, 0) << "none";
  EXPECT_TRUE(s.amplifier);
}

TEST(transmitOptionsTest, eachOptionBecomesItsSetting) {
  const transmitSettings s = commonSending({.transmit = true, .drive = 100, .timeout_s = 7, .noAmplifier = true});
  EXPECT_TRUE(s.allowed);
  EXPECT_EQ(s.drive, 100);
  EXPECT_EQ(s.timeout, std::chrono::seconds{7});
  EXPECT_FALSE(s.amplifier);
}

} // namespace
} // namespace larchhost
