#include "modes/straightKey.h"
#include "tests/modes/cwKeyingGolden.h"
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace larch::test {
namespace {

using cdouble = std::complex<double>;
constexpr double tolerance = 1e-15;

// One block; nothing when the key stands aside.
std::vector<cdouble> produce(straightKey& key, uint64_t count, bool hardEdges = false) {
  const cbuff out(count, cdouble(7, 7));
  if (key.produce(out, hardEdges)) return {out.data, out.data + count};
  for (uint64_t i = 0; i < count; i++) EXPECT_EQ(out.data[i], cdouble(7, 7)) << "left alone";
  return {};
}
// Blocks of several lengths, one behind the other.
std::vector<cdouble> stream(straightKey& key, std::vector<uint64_t> lengths) {
  std::vector<cdouble> all;
  for (const uint64_t n : lengths) {
    const auto block = produce(key, n);
    EXPECT_EQ(block.size(), n);
    all.insert(all.end(), block.begin(), block.end());
  }
  return all;
}

TEST(straightKeyTest, sendsNothingBeforeItsFirstPress) {
  straightKey key;
  EXPECT_TRUE(produce(key, 126).empty());
  EXPECT_FALSE(key.isDown());
}

TEST(straightKeyTest, risesAlongARaisedCosineToItsLevel) {
  straightKey key;
  key.press();
  EXPECT_TRUE(key.isDown());
  const auto sent = stream(key, {126, 7, 0, 1, 126, 126, 14});
  ASSERT_EQ(sent.size(), 400u);
  for (size_t i = 0; i < sent.size(); i++) {
    ASSERT_NEAR(sent[i].real(), i < 256 ? goldenRise[i] : 0.99, tolerance) << i;
    ASSERT_EQ(sent[i].imag(), 0.0);
  }
}

TEST(straightKeyTest, fallsAlongTheMirroredEdgeAndThenStandsAside) {
  straightKey key;
  key.press();
  produce(key, 512);
  key.release();
  const auto sent = stream(key, {126, 7, 0, 1, 266});
  ASSERT_EQ(sent.size(), 400u);
  for (size_t i = 0; i < sent.size(); i++) ASSERT_NEAR(sent[i].real(), i < 256 ? goldenFall[i] : 0.0, tolerance) << i;
  EXPECT_EQ(sent[256], cdouble(0)) << "silence, not nearly so";
  EXPECT_TRUE(produce(key, 126).empty());
}

TEST(straightKeyTest, anEdgeThatIsCutOffBeginsAnewFromItsOwnEnd) {
  straightKey key;
  key.press();
  produce(key, 100);
  key.release();
  EXPECT_NEAR(produce(key, 100)[0].real(), goldenFall[0], tolerance);
  key.press();
  EXPECT_NEAR(produce(key, 100)[0].real(), goldenRise[0], tolerance);
  key.press(); // once more while it is down
  EXPECT_NEAR(produce(key, 1)[0].real(), goldenRise[0], tolerance);
}

TEST(straightKeyTest, releasingAKeyThatIsUpSendsAFallingEdge) {
  straightKey key;
  key.release();
  const auto sent = stream(key, {256});
  for (size_t i = 0; i < 256; i++) ASSERT_NEAR(sent[i].real(), goldenFall[i], tolerance) << i;
  EXPECT_TRUE(produce(key, 126).empty());
}

TEST(straightKeyTest, hardEdgesAreOneOrNothing) {
  straightKey key;
  key.press();
  EXPECT_EQ(produce(key, 126, true), std::vector<cdouble>(126, 1.0));
  key.release();
  EXPECT_TRUE(produce(key, 126, true).empty());
  EXPECT_NEAR(produce(key, 1)[0].real(), goldenFall[0], tolerance) << "the soft edge still waits";
}

TEST(straightKeyTest, severalMovesBetweenTwoBlocksAreTheLastOne) {
  straightKey key;
  key.press();
  produce(key, 300);
  key.release();
  key.press();
  EXPECT_NEAR(produce(key, 1)[0].real(), goldenRise[0], tolerance) << "an edge all the same";
  key.release();
  key.press();
  key.release();
  EXPECT_NEAR(produce(key, 1)[0].real(), goldenFall[0], tolerance);
}

TEST(straightKeyTest, isMovedWhileItSendsCONCURRENT) {
  straightKey key;
  const auto moves = [&key] {
    for (int i = 0; i < 20000; i++) {
      key.press();
      key.release();
    }
  };
  std::jthread first(moves), second(moves);
  for (int i = 0; i < 2000; i++) {
    const cbuff out(8, 0.0);
    key.produce(out, i % 2);
    for (uint64_t k = 0; k < 8; k++) ASSERT_TRUE(out.data[k].real() >= 0 && out.data[k].real() <= 1);
  }
  first.join();
  second.join();
  EXPECT_FALSE(key.isDown());
  const cbuff out(512, 0.0);
  key.produce(out, false); // the last edge, if it hasn't gone out yet
  EXPECT_FALSE(key.produce(out, false));
}

} // namespace
} // namespace larch::test
