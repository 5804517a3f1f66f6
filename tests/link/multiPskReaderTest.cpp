#include "link/multiPskReader.h"
#include "tests/link/linkClient.h"
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace larch::test {
namespace {

using event = multiPskReader::event;

struct cut {
  std::vector<std::string> messages;
  int badLengths = 0;
};

// All bytes in pieces of up to `piece`, as a socket would hand them out.
cut cutUp(const std::string& bytes, size_t piece) {
  multiPskReader reader;
  cut found;
  for (size_t at = 0;;) {
    while (reader.missing() == 0) {
      EXPECT_EQ(reader.took(0), event::message);
      found.messages.emplace_back();
      EXPECT_EQ(reader.takeMessage().count, 0u);
    }
    if (at == bytes.size()) return found;
    const size_t n = std::min({piece, bytes.size() - at, size_t{reader.missing()}});
    std::memcpy(reader.place(), bytes.data() + at, n);
    at += n;
    const event e = reader.took(static_cast<uint32_t>(n));
    if (e == event::badLength) found.badLengths++;
    if (e == event::message) {
      const buff<char> message = reader.takeMessage();
      found.messages.emplace_back(message.data, message.count);
    }
  }
}

std::string body(size_t n) {
  std::string text(n, '.');
  for (size_t i = 0; i < n; i++) text[i] = static_cast<char>('A' + i % 26);
  return text;
}

TEST(multiPskReaderTest, takesLengthsUpToTheBuffer) {
  for (const uint32_t length : {0u, 1u, 7u, 8u, 126u, 127u}) {
    const cut found = cutUp(word32(length) + body(length), 1000);
    EXPECT_EQ(found.messages, std::vector{body(length)}) << length;
    EXPECT_EQ(found.badLengths, 0) << length;
  }
}

// Each byte counts as signed: 200 is -56, which is far above 128 when it is compared.
TEST(multiPskReaderTest, readsTheBufferFullOfABadLength) {
  for (const uint32_t length : {128u, 129u, 200u, 255u, 256u, 383u, 385u, 65536u, 0x80000000u, 0xffffffffu, 0x80808080u}) {
    const cut found = cutUp(word32(length) + body(128), 1000);
    EXPECT_EQ(found.badLengths, 1) << length;
    EXPECT_EQ(found.messages, std::vector{body(128)}) << length;
  }
}

// 384 is 0x180: 256 - 128. 0x1ff81 is 65536 - 256 - 127 and so too great, 0x1ffff80 is 2^24 - 65536 - 256 - 128, too.
TEST(multiPskReaderTest, lengthsWhoseSignedBytesAddUpToASmallOnePass) {
  const cut found = cutUp(word32(384) + body(128), 1000);
  EXPECT_EQ(found.messages, std::vector{body(128)});
  EXPECT_EQ(found.badLengths, 0);
  for (const uint32_t length : {0x1ff81u, 0x1ffff80u}) EXPECT_EQ(cutUp(word32(length) + body(128), 1000).badLengths, 1) << length;
}

TEST(multiPskReaderTest, theRestOfALongMessageIsTakenForAHeader) {
  const cut found = cutUp(word32(200) + body(128) + framed("inside") + framed("behind"), 1000);
  EXPECT_EQ(found.messages, (std::vector<std::string>{body(128), "inside", "behind"}));
}

TEST(multiPskReaderTest, piecesMakeNoDifference) {
  std::string all;
  for (const uint32_t length : {8u, 0u, 127u, 18u, 0u, 0u, 64u}) all += framed(body(length));
  all += word32(200) + body(128) + framed("last");
  const cut whole = cutUp(all, all.size());
  EXPECT_EQ(whole.messages.size(), 9u);
  for (const size_t piece : {1u, 2u, 3u, 5u, 127u}) {
    const cut found = cutUp(all, piece);
    EXPECT_EQ(found.messages, whole.messages) << piece;
    EXPECT_EQ(found.badLengths, whole.badLengths) << piece;
  }
}

TEST(multiPskReaderTest, survivesAnyBytes) {
  std::mt19937 random(7);
  std::string all(200000, '\0');
  for (char& c : all) c = static_cast<char>(random());
  const cut whole = cutUp(all, all.size());
  EXPECT_GT(whole.badLengths, 1000);
  EXPECT_EQ(cutUp(all, 1).messages, whole.messages);
}

} // namespace
} // namespace larch::test
