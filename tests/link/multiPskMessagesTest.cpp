#include "link/multiPskMessages.h"
#include "tests/link/linkClient.h"
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace larch::test {
namespace {

using kind = multiPskRequest::kind;

buff<char> message(const std::string& text) {
  buff<char> m(text.size());
  std::copy(text.begin(), text.end(), m.data);
  return m;
}
std::string textOf(const buff<char>& m) { return {m.data, m.count}; }
kind kindOf(const std::string& text) { return multiPskRequestOf(message(text)).wanted; }
int32_t frequencyOf(const std::string& text) { return multiPskRequestOf(message(text)).frequency; }

cbuff block(const std::vector<std::complex<double>>& samples) {
  cbuff b(samples.size());
  std::copy(samples.begin(), samples.end(), b.data);
  return b;
}
// The parts on the wire, imaginary first.
std::vector<int> partsOf(const buff<char>& m) {
  std::vector<int> parts;
  for (uint64_t at = 16; at + 1 < m.count; at += 2)
    parts.push_back(static_cast<int16_t>(static_cast<uint8_t>(m.data[at]) | static_cast<uint8_t>(m.data[at + 1]) << 8));
  return parts;
}

TEST(multiPskMessagesTest, knowsTheTags) {
  EXPECT_EQ(kindOf("Pversion"), kind::version);
  EXPECT_EQ(kindOf("Pversionwith more"), kind::version);
  EXPECT_EQ(kindOf("HWMPcapa"), kind::capability);
  EXPECT_EQ(kindOf("Bug_on_P"), kind::stop);
  EXPECT_EQ(kindOf("Received"), kind::none);
  EXPECT_EQ(kindOf("pversion"), kind::none);
  EXPECT_EQ(kindOf("TXHWdata"), kind::none);
}

TEST(multiPskMessagesTest, whatIsTooShortHasNoEffect) {
  EXPECT_EQ(kindOf(""), kind::none);
  EXPECT_EQ(kindOf("Pversio"), kind::none);
  EXPECT_EQ(kindOf("Bug_on_"), kind::none);
  EXPECT_EQ(kindOf("InitHWMP123456789"), kind::none);
  EXPECT_EQ(kindOf("InitHWMP1234567890"), kind::start);
  EXPECT_EQ(kindOf("Set_HWLO123"), kind::none);
  EXPECT_EQ(kindOf("Set_HWLO1234"), kind::tune);
}

TEST(multiPskMessagesTest, takesTheFrequencyFromItsPlace) {
  EXPECT_EQ(frequencyOf("InitHWMP" + bytes({1, 2, 3, 4, 5, 0x40, 0x8a, 0xd7, 0x00, 9})), 0x00d78a40);
  EXPECT_EQ(frequencyOf("Set_HWLO" + bytes({0x40, 0x8a, 0xd7, 0x00})), 0x00d78a40);
  EXPECT_EQ(frequencyOf("Set_HWLO" + bytes({0xff, 0xff, 0xff, 0xff})), -1) << "vfo is signed";
}

TEST(multiPskMessagesTest, answersByteByByte) {
  EXPECT_EQ(textOf(multiPskVersion()), versionAnswer());
  EXPECT_EQ(textOf(multiPskCapability()), bytes({52, 0, 0, 0}) + "HWMPcapa" + bytes({8}) + "LarchRig" + bytes({3}) + "1.0" +
                                              bytes({5}) + "Hello" + bytes({1}) + "3" + bytes({5}) + "48000" + bytes({15}) +
                                              "24000..40000000" + bytes({0}));
  EXPECT_EQ(multiPskCapability().count, 56u);
  EXPECT_EQ(textOf(multiPskTune(14'095'600)), bytes({12, 0, 0, 0}) + "Set_HWLO" + bytes({0xf0, 0x14, 0xd7, 0x00}));
  EXPECT_EQ(textOf(multiPskTune(-2)), bytes({12, 0, 0, 0}) + "Set_HWLO" + bytes({0xfe, 0xff, 0xff, 0xff}));
}

TEST(multiPskMessagesTest, samplesByteByByte) {
  double gain = 1000;
  const auto sent = multiPskSamples(block({{1.0019, -2.0}, {-0.0009, 0.2999}, {0, 0}}), gain);
  EXPECT_EQ(textOf(sent), bytes({24, 0, 0, 0}) + "TXHWdata" + bytes({12, 0, 0, 0}) +
                              bytes({0x30, 0xf8, 0xe9, 0x03, 0x2b, 0x01, 0x00, 0x00, 0, 0, 0, 0}))
      << "imaginary part first, without their fractions";
  EXPECT_EQ(gain, 1000);
  EXPECT_EQ(textOf(multiPskSamples(cbuff(), gain)), bytes({12, 0, 0, 0}) + "TXHWdata" + bytes({0, 0, 0, 0}));
  const auto whole = multiPskSamples(cbuff(512, {0, 0}), gain);
  EXPECT_EQ(whole.count, 16 + 4 * 512u);
  EXPECT_EQ(textOf(whole).substr(0, 16), bytes({0x0c, 0x08, 0, 0}) + "TXHWdata" + bytes({0, 8, 0, 0}));
}

TEST(multiPskMessagesTest, theGainFollowsThePeakOfTheImaginaryPartFromSampleToSample) {
  double gain = multiPskFirstGain;
  EXPECT_EQ(gain, 20000000.0);
  // 0.0015 * 2e7 is 30000, 0.0032 * 2e7 would be 64000
  const auto sent = multiPskSamples(block({{0, 0.0015}, {0.001, -0.0032}, {0, 0.0015}}), gain);
  EXPECT_DOUBLE_EQ(gain, 32000.0 / 0.0032);
  EXPECT_EQ(partsOf(sent), (std::vector<int>{30000, 0, -32000, 10000, 15000, 0}));
  const double before = gain;
  multiPskSamples(block({{0, 0.0001}}), gain);
  EXPECT_EQ(gain, before) << "it never rises";
}

TEST(multiPskMessagesTest, theRealPartIsntLimited) {
  double gain = 1.0;
  const auto sent = multiPskSamples(block({{40000, 0}, {-40000, 0}, {65536.0 * 65536.0 * 3 + 5, 1}, {-1e300, 0}}), gain);
  EXPECT_EQ(gain, 1.0);
  EXPECT_EQ(partsOf(sent), (std::vector<int>{0, 40000 - 65536, 0, 65536 - 40000, 1, 5, 0, 0}));
}

TEST(multiPskMessagesTest, numbersThatAreNoneDoNoHarm) {
  constexpr double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  double gain = 1.0;
  EXPECT_EQ(partsOf(multiPskSamples(block({{inf, nan}, {nan, 1}}), gain)), (std::vector<int>{0, 0, 1, 0}));
}

TEST(multiPskMessagesTest, aBlockThatIsntSentHoldsThePeakAlike) {
  const auto samples = block({{9, 0.5}, {0, -0.8}, {0, 0.7}});
  double sent = 50000;
  multiPskSamples(samples, sent);
  EXPECT_DOUBLE_EQ(sent, 40000);
  EXPECT_EQ(multiPskHeldGain(samples, 50000), sent);
}

} // namespace
} // namespace larch::test
