#include "sim/wavWriter.h"
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <unistd.h>
#include <gtest/gtest.h>
#include "sim/wavFile.h"

using namespace larch::sim;

namespace {
class wavWriterTest : public testing::Test {
 protected:
  ~wavWriterTest() override { std::remove(path.c_str()); }
  std::vector<uint8_t> bytes() const {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  uint32_t wordAt(size_t at) const {
    const auto b = bytes();
    return b.at(at) | b.at(at + 1) << 8 | b.at(at + 2) << 16 | static_cast<uint32_t>(b.at(at + 3)) << 24;
  }
  std::string path = testing::TempDir() + "larchsim-writer-" + std::to_string(getpid()) + ".wav";
};

std::vector<float> ramp(size_t first, size_t count) {
  std::vector<float> v;
  for (size_t n = first; n < first + count; ++n) v.push_back(static_cast<float>(n % 20000) / 32767);
  return v;
}
} // namespace

TEST_F(wavWriterTest, piecesAreOneFile) {
  wavWriter out(path, 48000, 2);
  size_t at = 0;
  for (const size_t count : {2u, 0u, 4096u, 30000u, 8u}) {
    out.put(ramp(at, count));
    at += count;
  }
  out.close();
  EXPECT_EQ(wordAt(4), 36 + 2 * at);
  EXPECT_EQ(wordAt(40), 2 * at);
  EXPECT_EQ(bytes().size(), 44 + 2 * at);
  const wavData w = readWav(path);
  EXPECT_EQ(w.rate_Hz, 48000);
  EXPECT_EQ(w.channels, 2);
  ASSERT_EQ(w.samples.size(), at);
  for (size_t n = 0; n < at; ++n) ASSERT_EQ(std::lround(w.samples[n] * 32768), n % 20000) << n;
}

TEST_F(wavWriterTest, canBeReadBeforeItIsClosed) {
  wavWriter out(path, 48000, 2);
  EXPECT_EQ(readWav(path).frames(), 0u);
  out.put(ramp(0, 10000));
  EXPECT_EQ(readWav(path).frames(), 5000u);
}

TEST_F(wavWriterTest, stopsAtItsLimitAndKeepsWhatItHas) {
  wavWriter out(path, 48000, 2, 4 * 100 + 3); // whole frames only
  out.put(ramp(0, 190));
  EXPECT_THROW(out.put(ramp(190, 20)), std::runtime_error);
  EXPECT_THROW(out.put(ramp(0, 2)), std::runtime_error);
  out.close();
  EXPECT_EQ(wordAt(40), 400u);
  EXPECT_EQ(readWav(path).frames(), 100u);
  EXPECT_EQ(bytes().size(), 444u);
}

TEST_F(wavWriterTest, theGreatestLengthFitsIntoTheHeader) {
  EXPECT_LE(wavWriter::longest_bytes + 36, 0xFFFFFFFFu);
  EXPECT_GT(wavWriter::longest_bytes, 0xFFFF0000u);
}

TEST_F(wavWriterTest, aFullDiskIsTold) {
  try {
    wavWriter out("/dev/full", 48000, 2);
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "/dev/full: can't be written: No space left on device");
  }
  EXPECT_THROW(wavWriter("/no/such/folder/file.wav", 48000, 2), std::runtime_error);
}
