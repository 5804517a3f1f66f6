// The files of captured slots, byte by byte, and the threads that write them.
#include "modes/slotFile.h"
#include "tests/modes/chirpCaptureTesting.h"
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace larch::test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
constexpr unsigned patience_s = 30;

struct slotFileTest : testing::Test {
  emptyDirectory directory;
  std::string path = (directory.path / "slot").string();

  static slotSamples samples(const std::vector<float>& values, double peak, bool iq) {
    slotSamples s{buff<float>(values.size()), values.size(), peak, iq};
    std::copy(values.begin(), values.end(), s.values.data);
    return s;
  }
  static std::string bytesOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::string written(const std::vector<float>& values, double peak, bool iq, double frequency_MHz = 0) const {
    writeSlot({path, samples(values, peak, iq), frequency_MHz});
    return bytesOf(path);
  }
  // A place where a writer waits until somebody reads.
  std::string pipeNamed(const std::string& name) const {
    const std::string pipe = (directory.path / name).string();
    EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    return pipe;
  }
  slotRecord record(const std::string& where) const { return {where, samples({0.5f, -0.25f}, 0.5, false), 7.0}; }
};

std::string awaited(slotFileJob& job) {
  std::string result;
  awaitThat([&] {
    if (const auto path = job.take()) result = *path;
    return !result.empty();
  });
  return result;
}

// IEEE numbers, made from their definition.
std::string bits(uint64_t value, int bytes) {
  std::string s;
  for (int i = 0; i < bytes; i++) s += static_cast<char>(value >> (8 * i) & 0xFF);
  return s;
}
std::string ieee(double value, int mantissaBits, int bias, int bytes) {
  if (value == 0) return bits(0, bytes);
  int exponent = 0;
  const double fraction = std::frexp(std::abs(value), &exponent); // 0.5 to 1
  const auto mantissa = static_cast<uint64_t>(std::ldexp(fraction, mantissaBits + 1)) - (uint64_t{1} << mantissaBits);
  const uint64_t sign = value < 0 ? uint64_t{1} << (8 * bytes - 1) : 0;
  return bits(sign | static_cast<uint64_t>(exponent - 1 + bias) << mantissaBits | mantissa, bytes);
}
std::string float32(double value) { return ieee(value, 23, 127, 4); }
std::string float64(double value) { return ieee(value, 52, 1023, 8); }

TEST_F(slotFileTest, aC2FileIsFourteenZerosATypeAFrequencyAndTheValues) {
  const std::string bytes = written({0.5f, -0.25f, 0.125f, 0.0f}, 0.5, true, 14.0956);
  EXPECT_EQ(bytes, std::string(14, '\0') + bits(2, 4) + float64(14.0956) + float32(32000) + float32(-16000) + float32(8000) +
                       float32(0));
  EXPECT_EQ(bytes.size(), 26u + 4 * 4);
}

TEST_F(slotFileTest, aC2FileWithoutValuesIsItsHeader) {
  EXPECT_EQ(written({}, 0, true, 0.4742), std::string(14, '\0') + bits(2, 4) + float64(0.4742));
  EXPECT_EQ(written({}, 0, true, -1.5), std::string(14, '\0') + bits(2, 4) + float64(-1.5));
}

TEST_F(slotFileTest, aWavFileHasItsPeakAt32000) {
  const std::string bytes = written({0.001f, -0.002f, 0.0005f}, 0.002, false);
  ASSERT_EQ(bytes.size(), 44u + 6);
  EXPECT_EQ(bytes.substr(0, 4), "RIFF");
  const auto value = [&](size_t i) {
    return static_cast<int16_t>(static_cast<uint8_t>(bytes[44 + 2 * i]) | static_cast<uint8_t>(bytes[45 + 2 * i]) << 8);
  };
  for (size_t i = 0; i < 3; i++)
    EXPECT_EQ(value(i),
              static_cast<int16_t>(std::vector<float>{0.001f, -0.002f, 0.0005f}[i] * static_cast<float>(32000.0 / 0.002)));
  EXPECT_NEAR(value(1), -32000, 1);
}

TEST_F(slotFileTest, paddingIsZeroWhateverTheMemoryHolds) {
  for (const uint64_t kept : {0u, 1u, 4u, 5u}) {
    for (const bool iq : {false, true}) {
      slotSamples padded = samples({0.5f, 0.5f, 0.5f, 0.5f, 0.5f}, 0.5, iq);
      for (uint64_t i = kept; i < 5; i++) padded.values.data[i] = static_cast<float>(nan);
      padded.kept = kept;
      writeSlot({path, padded, 7.0});
      std::string wanted;
      for (uint64_t i = 0; i < 5; i++) wanted += iq ? float32(i < kept ? 32000 : 0) : bits(i < kept ? 32000 : 0, 2);
      EXPECT_EQ(bytesOf(path).substr(iq ? 26 : 44), wanted) << kept << iq;
    }
  }
}

TEST_F(slotFileTest, aSilentSlotIsZeros) {
  for (const double peak : {0.0, 1e-320, 1e-45}) {
    EXPECT_EQ(written({0.0f, -0.0f}, peak, false).substr(44), std::string(4, '\0')) << peak;
    const std::string c2 = written({0.0f, 5.0f}, peak, true).substr(26); // no real part, but an imaginary one
    EXPECT_EQ(c2, std::string(8, '\0')) << peak;
  }
}

TEST_F(slotFileTest, noPeakBreaksTheFile) {
  for (const double peak : {nan, inf, -1.0, 1e300}) {
    EXPECT_EQ(written({1.0f, -1.0f}, peak, false).size(), 48u);
    EXPECT_EQ(written({1.0f, -1.0f}, peak, true).size(), 34u);
  }
}

TEST_F(slotFileTest, aPlaceThatCantBeWrittenIsNamedAllTheSame) {
  slotFileJob job;
  for (const bool iq : {false, true}) {
    const std::string where = (directory.path / "missing" / "a").string();
    job.start({where, samples({1, 2, 3}, 3, iq), 1});
    EXPECT_EQ(awaited(job), where);
  }
}

TEST_F(slotFileTest, aFullDiskIsNamedAllTheSame) {
  std::filesystem::create_symlink("/dev/full", path);
  for (const bool iq : {false, true}) {
    slotFileJob job;
    job.start({path, samples(std::vector<float>(100000, 1), 1, iq), 1});
    EXPECT_EQ(awaited(job), path);
  }
}

TEST_F(slotFileTest, aResultIsGivenOnce) {
  slotFileJob job;
  EXPECT_FALSE(job.take());
  job.start(record(path));
  EXPECT_EQ(awaited(job), path);
  EXPECT_FALSE(job.take());
  EXPECT_EQ(bytesOf(path).size(), 48u);
}

TEST_F(slotFileTest, aRunningJobIsReplacedWithoutWaiting) {
  const std::string pipe = pipeNamed("pipe");
  slotFileJob job;
  job.start(record(pipe));
  EXPECT_FALSE(job.take());
  job.start(record(path));
  EXPECT_EQ(awaited(job), path);
  EXPECT_EQ(bytesOf(pipe).size(), 48u) << "it finishes by itself";
  EXPECT_FALSE(job.take()) << "and nobody hears of it";
}

TEST_F(slotFileTest, aJobOutlivesItsObject) {
  const std::string pipe = pipeNamed("pipe");
  { slotFileJob().start(record(pipe)); }
  EXPECT_EQ(bytesOf(pipe).size(), 48u);
}

TEST_F(slotFileTest, jobsThatHangAreBounded) {
  std::vector<std::string> pipes;
  slotFileJob job;
  for (long i = 0; i < slotFileJob::mostRunning; i++) {
    pipes.push_back(pipeNamed("pipe" + std::to_string(i)));
    job.start(record(pipes.back()));
    EXPECT_FALSE(job.take());
  }
  job.start(record(path));
  EXPECT_THROW(job.take(), std::runtime_error);
  EXPECT_FALSE(job.take());
  EXPECT_FALSE(std::filesystem::exists(path));
  for (const std::string& pipe : pipes) EXPECT_EQ(bytesOf(pipe).size(), 48u);
  bool written = false;
  awaitThat([&] { // their threads have gone
    job.start(record(path));
    awaitThat([&] {
      try {
        written = job.take().has_value();
        return written;
      } catch (const std::runtime_error&) {
        return true;
      }
    });
    return written;
  });
  EXPECT_TRUE(written);
}

// Status 0 from beside a job that hangs in the middle of its file, a pipe that nobody empties.
[[noreturn]] void endBesideARunningJob(const std::filesystem::path& directory, const std::string& pipe) {
  alarm(patience_s);
  static slotFileJob job, busy;
  pollfd reader{open(pipe.c_str(), O_RDONLY | O_NONBLOCK), POLLIN, 0};
  job.start({pipe, {buff<float>(1'000'000, 0.1f), 1'000'000, 1, true}, 0}); // more than a pipe holds
  busy.start({"/dev/null", {buff<float>(5'000'000, 0.1f), 5'000'000, 1, true}, 0});
  poll(&reader, 1, -1);
  std::error_code error; // this process has made its own directory, and the job has its file by now
  std::filesystem::remove_all(directory, error);
  std::exit(error || job.take() ? 1 : 0);
}

// A process may end while a disk still hangs.
TEST(slotFileDeathTest, theProcessEndsBesideARunningJob) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const emptyDirectory directory;
  const std::string pipe = (directory.path / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EXIT(endBesideARunningJob(directory.path, pipe), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace larch::test
