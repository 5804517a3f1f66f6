// The timed-slot mode as a receiver: its slots, its files and what the host hears of them.
#include "tests/modes/JTTesting.h"
#include <set>

namespace larch::test {
namespace {

TEST_F(JTModDemodTest, theOperatorHearsTheRealPart) {
  for (const double at : {0.0, 7.0}) { // in a slot's start and outside
    setTime(at);
    for (const uint64_t count : {0u, 1u, 7u, 511u, 512u, 513u}) {
      cbuff block(count);
      for (uint64_t i = 0; i < count; i++) block.data[i] = {0.001 * static_cast<double>(i), 5.0};
      const auto sound = hear(block);
      ASSERT_EQ(sound.count, count);
      for (uint64_t i = 0; i < count; i++) ASSERT_EQ(sound.data[i], static_cast<float>(0.001 * static_cast<double>(i)));
    }
  }
}

TEST_F(JTModDemodTest, aSlotIsCapturedAndItsFileTold) {
  mode->samplesPerBlock.set(1280);
  setTime(15.0);
  hear(10);
  EXPECT_EQ(nextFile(), named("261121_220015.wav8"));
  EXPECT_EQ(fileBytes("261121_220015.wav").size(), 44u + 2 * 1280);
}

} // namespace
} // namespace larch::test
