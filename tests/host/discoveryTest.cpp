#include "host/boardProfile.h"
#include "host/discovery.h"
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <vector>

using namespace larchhost;

namespace {

// written down from the protocols, byte by byte
std::vector<uint8_t> hermesLite2Answer(uint8_t status) {
  std::vector<uint8_t> d(60);
  d[0] = 0xEF;
  d[1] = 0xFE;
  d[2] = status;
  for (size_t i = 0; i < 6; i++) d[3 + i] = static_cast<uint8_t>(0x10 + i);
  d[9] = 73;
  d[10] = 6;
  d[19] = 10;
  return d;
}

} // namespace

TEST(discoveryTest, questionsAreWhatTheProtocolsAskFor) {
  const auto one = protocol1Question();
  EXPECT_EQ(one.size(), 63u);
  EXPECT_EQ(one[0], 0xEF);
  EXPECT_EQ(one[1], 0xFE);
  EXPECT_EQ(one[2], 0x02);
  const auto two = protocol2Question();
  EXPECT_EQ(two.size(), 60u);
  EXPECT_EQ(two[4], 0x02);
}

TEST(discoveryTest, protocol1AnswerIsRead) {
  const auto radio = parseAnswer(hermesLite2Answer(2));
  ASSERT_TRUE(radio);
  EXPECT_EQ(radio->protocol, 1);
  EXPECT_FALSE(radio->inUse);
  EXPECT_EQ(macText(radio->mac), "10:11:12:13:14:15");
  EXPECT_EQ(radio->board, 6);
  EXPECT_EQ(radio->receivers, 10);
  EXPECT_TRUE(parseAnswer(hermesLite2Answer(3))->inUse);
}

TEST(discoveryTest, protocol2AnswerIsRead) {
  std::vector<uint8_t> d(60);
  d[4] = 3;
  d[5] = 0xAA;
  d[11] = 10;
  d[13] = 21;
  d[20] = 8;
  const auto radio = parseAnswer(d);
  ASSERT_TRUE(radio);
  EXPECT_EQ(radio->protocol, 2);
  EXPECT_TRUE(radio->inUse);
  EXPECT_EQ(radio->mac[0], 0xAA);
  EXPECT_EQ(radio->board, 10);
  EXPECT_EQ(radio->receivers, 8);
}

TEST(discoveryTest, anythingElseIsNoAnswer) {
  std::mt19937 random(1);
  for (size_t length = 0; length < 200; length++) {
    std::vector<uint8_t> d(length);
    for (auto& b : d) b = static_cast<uint8_t>(random() | 1); // never the zeros or the magic of an answer
    if (length > 2) d[2] = 1;
    EXPECT_FALSE(parseAnswer(d));
  }
  auto shortened = hermesLite2Answer(2);
  shortened.resize(59);
  EXPECT_FALSE(parseAnswer(shortened));
}

TEST(discoveryTest, addressThatDoesntParseIsRefused) {
  EXPECT_THROW(discover("300.1.1.1", 10), std::runtime_error);
  EXPECT_THROW(discover("radio", 10), std::runtime_error);
}

TEST(boardProfileTest, firmwareTellsTheHermesLitesApart) {
  EXPECT_EQ(profileFor(1, 6, 39).key, "hl1");
  EXPECT_EQ(profileFor(1, 6, 40).key, "hl2");
  EXPECT_EQ(profileFor(1, 6, 40).clockFrequency, 76800000);
  EXPECT_EQ(profileFor(1, 6, 31).clockFrequency, 73728000);
}

TEST(boardProfileTest, unknownBoardGetsItsProtocolsCommonFormAndSaysSo) {
  const auto board = profileFor(1, 99, 0);
  EXPECT_EQ(board.maxAdcValue, 32768);
  EXPECT_NE(board.name.find("unknown"), std::string::npos);
  EXPECT_EQ(profileFor(2, 77, 0).protocol, 2);
}

TEST(boardProfileTest, keysAreUniqueAndFound) {
  for (const auto& p : boardProfiles()) EXPECT_EQ(profileByKey(p.key)->name, p.name) << p.key;
  EXPECT_FALSE(profileByKey("nothing"));
}
