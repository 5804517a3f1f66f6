// The timed-slot mode as a receiver: its slots, its files and what the host hears of them.
#include "tests/modes/JTTesting.h"
#include "tests/support/allocationCounter.h"
#include <cstring>
#include <limits>
#include <random>
#include <sys/stat.h>

namespace larch::test {
namespace {

constexpr int64_t halfSecond = second_ns / 2;

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

// ---- when slots begin

struct JTPeriodTest : JTModDemodTest, testing::WithParamInterface<int32_t> {
  // Chunks over the half-second's start; true when the first one within begins a slot.
  bool beginsAt(int64_t half) {
    constexpr int64_t chunk_ns = 10'666'667;
    const int64_t before = std::uniform_int_distribution<int64_t>(1, chunk_ns - 1)(random);
    clock.setTo_ns(fullHour_ns + half * halfSecond - before);
    hear(1);
    EXPECT_FALSE(mode->capture().isRunning()) << "before half-second " << half << ", seed " << seed;
    const int64_t late = now() - (fullHour_ns + half * halfSecond);
    EXPECT_TRUE(late >= 0 && late < chunk_ns);
    hear(1);
    const bool begun = mode->capture().isRunning();
    if (begun) {
      EXPECT_EQ(mode->capture().captureCount(), 128u) << "with the chunk that begins it";
      mode->samplesPerBlock.set(0);
      hear(1);
      mode->samplesPerBlock.set(1000);
      nextFile();
    }
    hear(2);
    EXPECT_FALSE(mode->capture().isRunning()) << "a half-second begins one slot, " << half;
    return begun;
  }

  static constexpr unsigned seed = 20261121;
  std::mt19937 random{seed};
};

// Around the tops of two hours: six slots before and behind, the whole hour for long ones.
TEST_P(JTPeriodTest, slotsBeginWithTheFirstChunkOfTheirHalfSecond) {
  constexpr int64_t hour = 7200;
  const int64_t every = GetParam() / 500, around = std::min<int64_t>(6 * every, hour);
  mode->period.set(GetParam());
  mode->samplesPerBlock.set(1000);
  mode->saveDirectory.set("/dev/null/"); // no files
  for (const int64_t top : {int64_t{0}, hour}) {
    mode->samplesPerBlock.set(0); // the half-second before the first one has had its slot
    clock.setTo_ns(fullHour_ns + (top - around) * halfSecond - 20'000'000);
    hear(1);
    mode->samplesPerBlock.set(1000);
    for (int64_t half = top - around; half < top + around; half++) {
      const int64_t inHour = (half + hour) % hour;
      const bool near = inHour % every < 2 || inHour % every > every - 2 || half % 97 == 0;
      if (!near) continue;
      ASSERT_EQ(beginsAt(half), inHour % every == 0) << half;
    }
  }
}

// those that divide the hour, those that don't, those with a rest beyond half-seconds
INSTANTIATE_TEST_SUITE_P(all, JTPeriodTest,
                         testing::Values(500, 501, 999, 1000, 1500, 2000, 2500, 3500, 6000, 7000, 7500, 7777, 11000, 15000, 30000,
                                         59999, 60000, 90000, 100000, 120000, 420000, 900000, 1800000, 2700000, 3599500,
                                         3600000));

TEST_F(JTModDemodTest, aMinuteHasFourSlotsOfFifteenSeconds) {
  mode->samplesPerBlock.set(1280);
  setTime(-1);
  for (const char* name : {"261121_220000.wav8", "261121_220015.wav8", "261121_220030.wav8", "261121_220045.wav8"}) {
    hear(1406); // 15 s
    EXPECT_EQ(nextFile(), named(name));
  }
  EXPECT_EQ(toldFiles.size(), 4u);
}

TEST_F(JTModDemodTest, aBoundaryInsideARunningCaptureIsIgnored) {
  mode->period.set(3000);
  mode->samplesPerBlock.set(4 * 12000); // longer than a slot
  setTime(0);
  hear(94 * 5); // it ends at 4
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
  hear(94 * 6); // from 6 to 10
  EXPECT_EQ(nextFile(), named("261121_220006.wav8"));
  EXPECT_EQ(toldFiles.size(), 2u);
}

// The slot's half-second isn't over when the capture before is; that of the one behind it is.
TEST_F(JTModDemodTest, aSlotBeginsLateWhenTheCaptureBeforeEndsInItsFirstHalfSecond) {
  mode->period.set(1000);
  mode->samplesPerBlock.set(15000); // 118 chunks, 1.2587 s
  setTime(0);
  hear(118);
  EXPECT_FALSE(mode->capture().isRunning());
  queue({1}, 5);
  hear(1);
  EXPECT_TRUE(mode->capture().isRunning());
  EXPECT_EQ(mode->capture().captureCount(), 128u);
  EXPECT_TRUE(transceiver->ptt.value) << "the message starts with it";
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
  hear(117); // to 2.5173
  EXPECT_FALSE(mode->capture().isRunning());
  EXPECT_EQ(nextFile(), named("261121_220001.wav5"));
  EXPECT_EQ(fileBytes("261121_220001.wav").size(), 44u + 2 * 15000) << "as long as every other";
  hear(45); // to 2.9973
  EXPECT_FALSE(mode->capture().isRunning());
  hear(1 + 118);
  EXPECT_EQ(nextFile(), named("261121_220003.wav8"));
}

TEST_F(JTModDemodTest, aCaptureShorterThanHalfASecondIsOneASlot) {
  mode->samplesPerBlock.set(128);
  mode->period.set(500);
  setTime(3);
  hear(40);
  EXPECT_FALSE(mode->capture().isRunning());
  EXPECT_EQ(nextFile(), named("261121_220003.wav8"));
  hear(8); // into the next half-second, whose file has the same name
  EXPECT_EQ(nextFile(), named("261121_220003.wav8"));
  EXPECT_EQ(toldFiles.size(), 2u);
}

TEST_F(JTModDemodTest, aClockThatIsSetBackFindsItsSlotsAgain) {
  mode->samplesPerBlock.set(128);
  for (int i = 0; i < 3; i++) {
    setTime(15);
    hear(5);
    EXPECT_EQ(nextFile(), named("261121_220015.wav8"));
    setTime(7);
    hear(1);
  }
}

TEST_F(JTModDemodTest, theClockIsReadBetweenCapturesOnly) {
  static int reads;
  static const clockSource counting{[] { return int64_t{0}; }, [] { return reads++, fullHour_ns; }, [](int64_t) {}};
  setClockSource(&counting);
  reads = 0;
  mode->samplesPerBlock.set(1280);
  for (int i = 0; i < 10; i++) mode->demodulate(cbuff(chunkLength, 0.5));
  EXPECT_EQ(reads, 1);
  mode->demodulate(cbuff(chunkLength, 0.5));
  EXPECT_EQ(reads, 2);
}

TEST_F(JTModDemodTest, aPeriodBelowHalfASecondAndNoDecimationDoNothing) {
  queue({1, 2, 3}, 1);
  for (const int32_t period : {499, 0, -1, std::numeric_limits<int32_t>::min()}) {
    mode->period.set(period);
    setTime(0);
    EXPECT_EQ(hear(cbuff(chunkLength, 0.5)).count, chunkLength);
    EXPECT_FALSE(mode->capture().isRunning()) << period;
  }
  mode->period.set(15000);
  for (const int32_t decimation : {0, -1, std::numeric_limits<int32_t>::min()}) {
    mode->Decimation.set(decimation);
    setTime(0);
    EXPECT_EQ(hear(cbuff(chunkLength, 0.5)).count, chunkLength);
    EXPECT_FALSE(mode->capture().isRunning()) << decimation;
  }
  EXPECT_TRUE(mode->isMessageWaiting());
  EXPECT_FALSE(transceiver->ptt.value);
  mode->Decimation.set(4);
  hear(1);
  EXPECT_TRUE(mode->capture().isRunning());
  EXPECT_TRUE(transceiver->ptt.value);
}

// ---- files

std::string little(int64_t value, int bytes) {
  std::string s;
  for (int i = 0; i < bytes; i++) s += static_cast<char>(value >> (8 * i) & 0xFF);
  return s;
}

// Samples that are exact in single precision, with the loudest one at 1.0, so that a value is 32000 times the sample.
cbuff exactChunk(uint64_t start) {
  cbuff chunk(512);
  for (uint64_t i = 0; i < 512; i++) {
    const auto re = static_cast<double>((start + i) * 37 % 513) - 256;
    chunk.data[i] = {re / 256, 3.0};
  }
  return chunk;
}

TEST_F(JTModDemodTest, aWavFileHoldsEveryFourthRealPart) {
  mode->samplesPerBlock.set(1300); // not a whole number of chunks
  setTime(0.006);
  std::string wanted = "RIFF" + little(2 * 1300 + 36, 4) + "WAVEfmt " + little(16, 4) + little(0x00010001, 4) + little(12000, 4) +
                       little(24000, 4) + little(0x00100002, 4) + "data" + little(2600, 4);
  for (uint64_t i = 0; i < 1300; i++) {
    const auto re = static_cast<int64_t>(4 * i * 37 % 513) - 256;
    wanted += little(re * 125, 2); // 32000 / 256
  }
  for (uint64_t i = 0; i < 11; i++) hear(exactChunk(512 * i));
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
  EXPECT_EQ(fileBytes("261121_220000.wav"), wanted);
}

TEST_F(JTModDemodTest, theStandardSlotIsTwelvePointSixSeconds) {
  setTime(0);
  hear(1181);
  EXPECT_TRUE(mode->capture().isRunning());
  hear(1); // 151,200 values at 128 a chunk
  EXPECT_FALSE(mode->capture().isRunning());
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
  const std::string bytes = fileBytes("261121_220000.wav");
  EXPECT_EQ(bytes.size(), 44u + 2 * 151'200);
  EXPECT_EQ(bytes.substr(44), [] {
    std::string s;
    for (int i = 0; i < 151'200; i++) s += little(32000, 2);
    return s;
  }());
}

TEST_F(JTModDemodTest, aC2FileHoldsBothPartsAndTheFrequency) {
  mode->SaveMode.set(1);
  mode->Decimation.set(128);
  mode->period.set(120000);
  mode->samplesPerBlock.set(16);
  setTime(240);
  const cbuff chunk(512);
  for (uint64_t i = 0; i < 512; i++) chunk.data[i] = i % 128 == 0 ? std::complex<double>(0.25, -0.5) : 100.0;
  hear(chunk);
  transceiver->vfo.write(474'200); // that of the end counts
  hear(chunk);
  EXPECT_EQ(nextFile(), named("261121_2204.c28"));
  const std::string bytes = fileBytes("261121_2204.c2");
  ASSERT_EQ(bytes.size(), 26u + 4 * 16);
  EXPECT_EQ(bytes.substr(0, 18), std::string(14, '\0') + little(2, 4));
  double frequency;
  std::memcpy(&frequency, bytes.data() + 18, 8);
  EXPECT_EQ(frequency, 474'200 / 1e6);
  for (size_t i = 0; i < 16; i++) {
    float value;
    std::memcpy(&value, bytes.data() + 26 + 4 * i, 4);
    EXPECT_NEAR(value, i % 2 ? -64000 : 32000, 0.01) << i;
  }
}

TEST_F(JTModDemodTest, aMinuteAndMoreHasNoSecondsInTheName) {
  mode->samplesPerBlock.set(128);
  mode->period.set(60000);
  setTime(60);
  hear(1);
  EXPECT_EQ(nextFile(), named("261121_2201.wav8"));
}

TEST_F(JTModDemodTest, theDirectoryStandsInFrontAsItIs) {
  mode->samplesPerBlock.set(128);
  mode->saveDirectory.set(directory.path.string() + "/caf\xE9 \xFF-"); // bytes, no separator of ours
  setTime(0);
  hear(1);
  EXPECT_EQ(nextFile(), named("caf\xE9 \xFF-261121_220000.wav8"));
  EXPECT_EQ(fileBytes("caf\xE9 \xFF-261121_220000.wav").size(), 44u + 256);
}

TEST_F(JTModDemodTest, paddingIsZeroInTheFile) {
  { const buff<float> dirt(1280, 1.0f); } // the pool gives the same memory again
  mode->samplesPerBlock.set(1280);
  mode->endPadding.set(256);
  setTime(0);
  hear(8);
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
  const std::string bytes = fileBytes("261121_220000.wav");
  ASSERT_EQ(bytes.size(), 44u + 2560);
  EXPECT_EQ(bytes.substr(44 + 2 * 1023, 2), little(32000, 2));
  EXPECT_EQ(bytes.substr(44 + 2 * 1024), std::string(512, '\0'));
}

TEST_F(JTModDemodTest, aSilentSlotIsZeros) {
  mode->samplesPerBlock.set(256);
  setTime(0);
  hear(2, 0.0);
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
  EXPECT_EQ(fileBytes("261121_220000.wav").substr(44), std::string(512, '\0'));
}

TEST_F(JTModDemodTest, whatASlotBeganWithHoldsForItsFile) {
  mode->samplesPerBlock.set(256);
  setTime(0);
  hear(1);
  mode->SaveMode.set(1);
  mode->period.set(120000);
  mode->saveDirectory.set("/dev/null/");
  hear(1);
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
  EXPECT_EQ(fileBytes("261121_220000.wav").substr(0, 4), "RIFF");
  EXPECT_EQ(fileBytes("261121_220000.wav").size(), 44u + 512);
}

TEST_F(JTModDemodTest, anUnwritableDirectoryIsToldAllTheSame) {
  mode->samplesPerBlock.set(128);
  const std::string missing = named("missing/");
  mode->saveDirectory.set(missing);
  setTime(0);
  hear(1);
  EXPECT_EQ(nextFile(), missing + "261121_220000.wav8");
  EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST_F(JTModDemodTest, aFullDiskIsToldAllTheSame) {
  mode->samplesPerBlock.set(128);
  std::filesystem::create_symlink("/dev/full", directory.path / "261121_220000.wav");
  setTime(0);
  hear(1);
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
  setTime(15);
  hear(1);
  EXPECT_EQ(nextFile(), named("261121_220015.wav8")) << "the next slot finds its way";
  EXPECT_EQ(fileBytes("261121_220015.wav").size(), 44u + 256);
}

TEST_F(JTModDemodTest, aDiskThatHangsHoldsNothingUp) {
  ASSERT_EQ(mkfifo(named("261121_220000.wav").c_str(), 0600), 0);
  mode->samplesPerBlock.set(128);
  setTime(0);
  hear(1);
  setTime(15);
  hear(1);
  EXPECT_EQ(nextFile(), named("261121_220015.wav8"));
  EXPECT_EQ(fileBytes("261121_220000.wav").size(), 44u + 256) << "written at last";
  EXPECT_EQ(toldFiles.size(), 1u) << "and nobody hears of it";
}

TEST_F(JTModDemodTest, whatAJobFailedByIsLoggedAndTheSignalGoesOn) {
  mode->samplesPerBlock.set(128);
  std::vector<std::string> pipes;
  for (int i = 0; i <= slotFileJob::mostRunning; i++) {
    pipes.push_back(named("261121_2200" + std::string(i < 10 ? "0" : "") + std::to_string(i) + ".wav"));
    ASSERT_EQ(mkfifo(pipes.back().c_str(), 0600), 0);
  }
  mode->period.set(1000);
  testing::internal::CaptureStdout();
  for (int i = 0; i <= slotFileJob::mostRunning; i++) {
    setTime(i);
    EXPECT_EQ(hear(cbuff(chunkLength, 0.5)).count, chunkLength);
  }
  const std::string logged = testing::internal::GetCapturedStdout(); // there is no log file
  EXPECT_NE(logged.find("JTModDemod too many capture files are still being written"), std::string::npos) << logged;
  pipes.pop_back();
  for (const std::string& pipe : pipes) EXPECT_EQ(bytesOf(pipe).size(), 44u + 256);
}

TEST_F(JTModDemodTest, withoutACallbackNothingIsTold) {
  mode->samplesPerBlock.set(128);
  mode->newFile = nullptr;
  setTime(0);
  hear(1);
  awaitThat([&] { return fileBytes("261121_220000.wav").size() == 44u + 256; });
  hear(3);
  g.pool->getUpdates();
  EXPECT_TRUE(toldFiles.empty());
}

TEST_F(JTModDemodTest, aRunningCaptureTakesTheAudiosBlockAlone) {
  const cbuff block(chunkLength, 1.0);
  for (const int32_t saveMode : {0, 1}) {
    mode->SaveMode.set(saveMode);
    mode->samplesPerBlock.set(1'000'000);
    setTime(0);
    hear(block);
    int64_t before = allocationsOfThisThread();
    { const buff<float> audio(chunkLength); }
    const int64_t forAudio = allocationsOfThisThread() - before;
    before = allocationsOfThisThread();
    for (int i = 0; i < 100; i++) hear(block);
    EXPECT_EQ(allocationsOfThisThread() - before, 100 * forAudio);
    mode->samplesPerBlock.set(0);
    hear(block);
    nextFile();
    before = allocationsOfThisThread();
    for (int i = 0; i < 20; i++) hear(block); // between slots
    EXPECT_EQ(allocationsOfThisThread() - before, 20 * forAudio);
  }
}

TEST_F(JTModDemodTest, aModeWithoutATransceiverCapturesAndSendsNothing) {
  mode->owner.publish({});
  mode->samplesPerBlock.set(256);
  setTime(0);
  hear(1);
  queue({1, 2}, 3);
  hear(1);
  EXPECT_TRUE(mode->isMessageWaiting());
  EXPECT_EQ(nextFile(), named("261121_220000.wav8"));
}

} // namespace
} // namespace larch::test
