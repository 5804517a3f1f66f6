// Capture files, byte by byte.
#include "audio/writeWav.h"
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace larch::test {
namespace {

struct writeWavTest : testing::Test {
  writeWavTest() {
    std::string name = (std::filesystem::temp_directory_path() / "larchWavXXXXXX").string();
    directory = mkdtemp(name.data());
    path = directory / "a.wav";
  }
  ~writeWavTest() override { std::filesystem::remove_all(directory); }

  std::string written() const {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::string write(const std::vector<float>& samples, float scale) const {
    buff<float> block(samples.size());
    std::copy(samples.begin(), samples.end(), block.data);
    writeWav(path.string(), block, scale);
    return written();
  }
  int16_t only(float sample, float scale) const {
    const std::string bytes = write({sample}, scale);
    EXPECT_EQ(bytes.size(), 46u);
    if (bytes.size() < 46) return -1;
    return static_cast<int16_t>(static_cast<uint8_t>(bytes[44]) | static_cast<uint8_t>(bytes[45]) << 8);
  }

  std::filesystem::path directory, path;
};

std::string little(uint64_t value, int bytes) {
  std::string s;
  for (int i = 0; i < bytes; i++, value /= 256) s += static_cast<char>(value % 256);
  return s;
}

std::string headerFor(uint64_t n) {
  return "RIFF" + little(2 * n + 36, 4) + "WAVEfmt " + little(16, 4) + little(1, 2) + little(1, 2) + little(12000, 4) +
         little(24000, 4) + little(2, 2) + little(16, 2) + "data" + little(2 * n, 4);
}

TEST_F(writeWavTest, noSamplesAreAHeaderOf44Bytes) {
  const std::string bytes = write({}, 32000);
  EXPECT_EQ(bytes, headerFor(0));
  EXPECT_EQ(bytes.size(), 44u);
}

TEST_F(writeWavTest, everyLengthIsWrittenWhole) {
  for (const size_t n : {1u, 7u, 511u, 512u, 513u, 4095u, 4096u, 4097u, 20000u}) {
    std::vector<float> samples(n);
    std::string wanted = headerFor(n);
    for (size_t i = 0; i < n; i++) {
      const int value = static_cast<int>(i * 7919 % 65536) - 32768;
      samples[i] = static_cast<float>(value) / 16384; // exact, as is the product
      wanted += little(static_cast<uint64_t>(value + 65536) % 65536, 2);
    }
    ASSERT_EQ(write(samples, 16384), wanted) << n;
  }
}

TEST_F(writeWavTest, aSampleOutsideOf16BitsWraps) {
  EXPECT_EQ(only(1.0f, 32000), 32000);
  EXPECT_EQ(only(-1.0f, 32000), -32000);
  EXPECT_EQ(only(-1.5f, 32000), 17536);
  EXPECT_EQ(only(1.5f, 32000), -17536);
  EXPECT_EQ(only(32768.0f, 1), -32768);
  EXPECT_EQ(only(1048579.0f, 1), 3);
  EXPECT_EQ(only(-1048579.0f, 1), -3);
  EXPECT_EQ(only(0x1p+62f, 1), 0);
}

TEST_F(writeWavTest, fractionsAreCutTowardsZero) {
  EXPECT_EQ(only(0.99999f, 32000), 31999);
  EXPECT_EQ(only(-0.99999f, 32000), -31999);
  EXPECT_EQ(only(0.5f, 1), 0);
  EXPECT_EQ(only(-0.999f, 1), 0);
}

TEST_F(writeWavTest, theProductIsOfSinglePrecision) {
  EXPECT_LT(static_cast<double>(0.7f) * 10, 7.0);
  EXPECT_EQ(only(0.7f, 10), 7);
}

TEST_F(writeWavTest, whatNoIntegerHoldsIsZero) {
  constexpr float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  for (const float sample : {inf, -inf, nan, 0x1p+63f, -0x1p+63f, 1e30f, -1e30f}) EXPECT_EQ(only(sample, 1), 0) << sample;
  EXPECT_EQ(only(0.0f, inf), 0);
  EXPECT_EQ(only(1.0f, inf), 0);
}

TEST_F(writeWavTest, anOldFileIsCutShort) {
  std::ofstream(path) << std::string(100000, 'x');
  EXPECT_EQ(write({}, 1), headerFor(0));
}

TEST_F(writeWavTest, aPlaceThatCantBeWrittenDoesNoHarm) {
  const buff<float> samples(1000, 0.5f);
  std::ofstream(path) << "x";
  for (const std::string& where :
       {std::string(), directory.string(), path.string() + "/a.wav", (directory / "missing" / "a.wav").string()})
    writeWav(where, samples, 1);
  EXPECT_EQ(written(), "x");
}

TEST_F(writeWavTest, aFullDiskDoesNoHarm) {
  std::filesystem::create_symlink("/dev/full", path);
  writeWav(path.string(), buff<float>(100000, 0.5f), 1);
  EXPECT_TRUE(std::filesystem::is_symlink(path));
}

TEST_F(writeWavTest, aDiskThatFillsUpKeepsTheBeginning) {
  constexpr rlim_t room = 10000;
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limit{room, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limit);
  const std::string bytes = write(std::vector<float>(50000, 257), 1);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(bytes, headerFor(50000) + std::string(room - 44, '\1'));
}

} // namespace
} // namespace larch::test
