#include "radio/protocol1Frames.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

using namespace larch::protocol1;
using sample = std::complex<double>;

namespace {

std::vector<uint8_t> status(std::initializer_list<int> c0to4) {
  std::vector<uint8_t> frame(frameBytes, 0);
  frame[0] = frame[1] = frame[2] = 0x7f;
  std::size_t at = 3;
  for (int c : c0to4) frame[at++] = static_cast<uint8_t>(c);
  return frame;
}
int word(const uint8_t* at) { return static_cast<int16_t>(at[0] << 8 | at[1]); }

struct written {
  int left, right, i, q;
};
written write(sample s, const transmitForm& form, uint32_t ramp = 0) {
  uint8_t bytes[8];
  writeTransmitSamples(bytes, &s, 1, form, ramp);
  return {word(bytes), word(bytes + 2), word(bytes + 4), word(bytes + 6)};
}

} // namespace

TEST(protocol1FramesTest, slotsAndSamplesForEachReceiverCount) {
  const int expected[][3] = {{1, 8, 63}, {2, 14, 36}, {3, 20, 25}, {4, 26, 19}, {8, 50, 10}};
  for (const auto& [receivers, slot, samples] : expected) {
    EXPECT_EQ(slotBytes(receivers), slot);
    EXPECT_EQ(samplesPerFrame(receivers), samples);
  }
  EXPECT_EQ(samplesPerFrame(84), 0);
}

TEST(protocol1FramesTest, theHeadIsReadWithoutItsMagic) {
  uint8_t d[datagramBytes] = {0, 0, 1, 6, 0xff, 0xfe, 0xfd, 0xfc};
  EXPECT_TRUE(readHead(d).data);
  EXPECT_EQ(readHead(d).endpoint, 6);
  EXPECT_EQ(readHead(d).sequence, 0xfffefdfcu);
  for (int other : {0, 2, 4, 255}) {
    d[2] = static_cast<uint8_t>(other);
    EXPECT_FALSE(readHead(d).data);
  }
}

TEST(protocol1FramesTest, theFrameMaySayThatItHoldsFewerReceivers) {
  auto frame = status({});
  EXPECT_EQ(receiversIn(frame.data(), 3), 3);
  for (int claimed = 0; claimed < 256; claimed++) {
    frame[2] = static_cast<uint8_t>(claimed);
    EXPECT_EQ(receiversIn(frame.data(), 3), claimed < 3 ? claimed + 1 : 3) << claimed;
  }
  frame[2] = 0x7f;
  EXPECT_EQ(receiversIn(frame.data(), 200), 200) << "the sync byte is no count";
}

TEST(protocol1FramesTest, statusLinesAndWordsGoByC0) {
  const auto lines = readStatus(status({0x05, 1}).data());
  EXPECT_TRUE(lines.present && lines.ptt && lines.key && lines.hasOverload && lines.overload);
  EXPECT_EQ(lines.ainIndex[0], -1);
  EXPECT_FALSE(readStatus(status({0x02, 0}).data()).ptt);
  EXPECT_FALSE(readStatus(status({0x02, 0}).data()).key);
  EXPECT_FALSE(readStatus(status({0x00, 0xfe}).data()).overload);
  const int inputs[][3] = {{1, 4, 0}, {2, 1, 2}, {3, 3, 5}};
  for (const auto& [kind, high, low] : inputs) {
    const auto s = readStatus(status({kind << 3 | 4, 0x12, 0x34, 0x56, 0x78}).data());
    EXPECT_FALSE(s.hasOverload);
    EXPECT_TRUE(s.key);
    EXPECT_EQ(s.ainIndex[0], high);
    EXPECT_EQ(s.ainIndex[1], low);
    EXPECT_EQ(s.ainWord[0], 0x1234);
    EXPECT_EQ(s.ainWord[1], 0x5678);
  }
  for (int kind = 4; kind < 16; kind++) {
    const auto s = readStatus(status({kind << 3 | 1, 0xff, 0xff, 0xff, 0xff}).data());
    EXPECT_TRUE(s.present && s.ptt) << kind;
    EXPECT_FALSE(s.hasOverload);
    EXPECT_EQ(s.ainIndex[0], -1);
  }
}

TEST(protocol1FramesTest, bitSevenOfC0MeansNoStatus) {
  for (int c0 : {0x80, 0x85, 0x89, 0xff}) EXPECT_FALSE(readStatus(status({c0, 1, 1, 1, 1}).data()).present);
}

TEST(protocol1FramesTest, widebandSamplesAreLittleEndian) {
  uint8_t d[datagramBytes] = {};
  d[8] = 0x34;
  d[9] = 0x12;
  d[1030] = 0xfe;
  d[1031] = 0xff;
  EXPECT_EQ(widebandSample(d, 0), 0x1234);
  EXPECT_EQ(widebandSample(d, 511), -2);
}

TEST(protocol1FramesTest, headsAndControlsHaveTheirBytes) {
  uint8_t d[8] = {};
  writeHead(d, 0x01020304);
  const uint8_t head[] = {0xef, 0xfe, 1, 2, 1, 2, 3, 4};
  EXPECT_TRUE(std::equal(d, d + 8, head));
  writeControl(d, 3);
  const uint8_t control[] = {0xef, 0xfe, 4, 3};
  EXPECT_TRUE(std::equal(d, d + 4, control));
  writeRegister(d, 0x15, {9, 8, 7, 6});
  const uint8_t frame[] = {0x7f, 0x7f, 0x7f, 0x15, 9, 8, 7, 6};
  EXPECT_TRUE(std::equal(d, d + 8, frame));
}

TEST(protocol1FramesTest, transmitSamplesAreTurnedAndRounded) {
  const written even = write({0.5, 0.25}, {});
  EXPECT_EQ(even.left, 0);
  EXPECT_EQ(even.right, 0);
  EXPECT_EQ(even.i, 8192); // round(8191.5)
  EXPECT_EQ(even.q, -16383);
  transmitForm mirrored;
  mirrored.mirrored = true;
  const written odd = write({0.5, 0.25}, mirrored);
  EXPECT_EQ(odd.i, -16383);
  EXPECT_EQ(odd.q, 8192);
  EXPECT_EQ(write({0.5, -0.25}, {}).i, -8192) << "half away from zero";
}

TEST(protocol1FramesTest, theMultiplierScales) {
  transmitForm form;
  form.multiplier = 0.5;
  EXPECT_EQ(write({-0.5, 0.0}, form).q, 8192);
  form.multiplier = 0;
  EXPECT_EQ(write({0.9, 0.9}, form).i, 0);
  EXPECT_EQ(write({0.9, 0.9}, form).q, 0);
}

TEST(protocol1FramesTest, aMagnitudeOverFullScaleIsBroughtBackInItsDirection) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> any(-10, 10);
  for (int n = 0; n < 1000; n++) {
    const sample s(any(random), any(random));
    if (std::abs(s) < 1) continue;
    const written w = write(s, {});
    EXPECT_NEAR(std::hypot(w.i, w.q), 32766, 1.0);
    EXPECT_NEAR(w.i, 32766 * s.imag() / std::abs(s), 0.51);
    EXPECT_NEAR(w.q, -32766 * s.real() / std::abs(s), 0.51);
  }
  EXPECT_EQ(write({0, 1}, {}).i, 32766);
  EXPECT_EQ(write({0, -1e6}, {}).i, -32766);
}

TEST(protocol1FramesTest, whatIsNoNumberIsSilence) {
  const double nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
  for (const sample s : {sample(nan, 0), sample(0, nan), sample(infinity, 0), sample(-infinity, infinity)}) {
    const written w = write(s, {});
    EXPECT_TRUE(w.i == 0 && w.q == 0) << s;
  }
}

TEST(protocol1FramesTest, theKeyLineIsTheLowByteOfTheIntegerPart) {
  transmitForm form;
  form.keyLine = true;
  EXPECT_EQ(write({1.0, 5.0}, form).i, 3);
  EXPECT_EQ(write({1.9, 0}, form).i, 3);
  EXPECT_EQ(write({0.9, 0}, form).i, 0);
  EXPECT_EQ(write({256.0, 0}, form).i, 0);
  EXPECT_EQ(write({257.0, 0}, form).i, 3);
  EXPECT_EQ(write({-1.0, 0}, form).i, 3);
  EXPECT_EQ(write({1.0, 5.0}, form).q, 0);
  for (double s : {std::nan(""), 1e300, -std::numeric_limits<double>::infinity()}) EXPECT_EQ(write({s, 0}, form).i, 0);
}

TEST(protocol1FramesTest, theRampRunsThroughTheAudioWordsAndWraps) {
  transmitForm form;
  form.ramp = true;
  uint32_t position = 4090;
  const std::vector<sample> silence(16);
  uint8_t bytes[16 * 8];
  writeTransmitSamples(bytes, silence.data(), 16, form, position);
  for (int n = 0; n < 16; n++) {
    const int at = (4090 + n) % 4096;
    EXPECT_EQ(word(bytes + 8 * n), at);
    EXPECT_EQ(static_cast<uint16_t>(word(bytes + 8 * n + 2)), at * 16);
  }
  EXPECT_EQ(position, 10u);
}
