#include "host/iqRecorder.h"
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

using namespace larchhost;

namespace {

constexpr int32_t block = 512;
constexpr size_t header = 44;

class iqRecorderTest : public testing::Test {
 protected:
  iqRecorderTest() {
    char name[] = "/tmp/larchIqXXXXXX";
    folder_ = mkdtemp(name);
    path_ = folder_ / "iq.wav";
  }
  ~iqRecorderTest() override { std::filesystem::remove_all(folder_); }
  // Sample i of it is first + i, and half of that.
  static complexArray* samples(double first, int32_t count = block) {
    complexArray* a = complexArray_create(count);
    for (int32_t i = 0; i < count; i++) {
      complexArray_data(a)[2 * i] = first + i;
      complexArray_data(a)[2 * i + 1] = (first + i) / 2;
    }
    return a;
  }
  std::filesystem::path folder_, path_;
};

TEST_F(iqRecorderTest, theFileHoldsAllBlocksMirrored) {
  iqRecorder recorder(path_);
  for (int b = 0; b < 4; b++) recorder.offer(samples(b * block));
  recorder.finish();
  EXPECT_EQ(recorder.samples(), 4u * block);
  EXPECT_EQ(recorder.lostBlocks(), 0u);
  EXPECT_FALSE(recorder.failed());
  std::ifstream file(path_, std::ios::binary);
  const std::string all{std::istreambuf_iterator<char>(file), {}};
  ASSERT_EQ(all.size(), header + 4 * block * 8);
  uint32_t bytes = 0;
  std::memcpy(&bytes, &all[40], 4);
  EXPECT_EQ(bytes, all.size() - header);
  for (int32_t i = 0; i < 4 * block; i++) {
    float iq[2];
    std::memcpy(iq, &all[header + static_cast<size_t>(i) * 8], 8);
    ASSERT_EQ(iq[0], static_cast<float>(i));
    ASSERT_EQ(iq[1], static_cast<float>(-i) / 2);
  }
}

TEST_F(iqRecorderTest, aPipeThatNobodyReadsCostsBlocksAndHoldsNothingUp) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
  iqRecorder recorder(path_);
  for (int b = 0; b < 1000; b++) recorder.offer(samples(0)); // 4 MB, twice what the ring and the pipe take
  EXPECT_GT(recorder.lostBlocks(), 300u);
  recorder.finish();
  EXPECT_TRUE(recorder.failed());
  close(reader);
}

TEST_F(iqRecorderTest, aFullDiskIsAFailure) {
  iqRecorder recorder("/dev/full");
  recorder.offer(samples(0));
  recorder.finish();
  EXPECT_TRUE(recorder.failed());
}

} // namespace
