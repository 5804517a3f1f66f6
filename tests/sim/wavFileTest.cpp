#include <cstdio>
#include <cstring>
#include <random>
#include <stdexcept>
#include <unistd.h>
#include <gtest/gtest.h>
#include "sim/wavFile.h"

using namespace larch::sim;

namespace {
using file = std::vector<uint8_t>;

// a WAV file by hand: format chunk and data chunk
file wavOf(uint8_t format, uint8_t channels, uint8_t bits, const file& data, uint32_t claimed) {
  const uint8_t width = static_cast<uint8_t>(channels * bits / 8);
  file f{'R',
         'I',
         'F',
         'F',
         0,
         0,
         0,
         0,
         'W',
         'A',
         'V',
         'E',
         'f',
         'm',
         't',
         ' ',
         16,
         0,
         0,
         0,
         format,
         0,
         channels,
         0,
         0x40,
         0x1F,
         0,
         0,
         0,
         0,
         0,
         0,
         width,
         0,
         bits,
         0, // 8000 Hz
         'd',
         'a',
         't',
         'a',
         static_cast<uint8_t>(claimed),
         static_cast<uint8_t>(claimed >> 8),
         static_cast<uint8_t>(claimed >> 16),
         static_cast<uint8_t>(claimed >> 24)};
  for (const uint8_t b : data) f.push_back(b);
  return f;
}
} // namespace

TEST(wavFileTest, readsEveryWidth) {
  wavData w = parseWav(wavOf(1, 1, 16, {0x00, 0x40, 0x00, 0xC0}, 4));
  EXPECT_EQ(w.rate_Hz, 8000);
  EXPECT_EQ(w.samples, (std::vector<float>{0.5F, -0.5F}));
  w = parseWav(wavOf(1, 1, 8, {128, 192, 64}, 3));
  EXPECT_EQ(w.samples, (std::vector<float>{0, 0.5F, -0.5F}));
  w = parseWav(wavOf(1, 2, 24, {0, 0, 0x40, 0, 0, 0xC0}, 6));
  EXPECT_EQ(w.channels, 2);
  EXPECT_EQ(w.frames(), 1u);
  EXPECT_EQ(w.samples, (std::vector<float>{0.5F, -0.5F}));
  w = parseWav(wavOf(1, 1, 32, {0, 0, 0, 0x40}, 4));
  EXPECT_EQ(w.samples, (std::vector<float>{0.5F}));
  w = parseWav(wavOf(3, 1, 32, {0, 0, 0x80, 0x3F, 0, 0, 0xC0, 0x7F}, 8)); // 1.0, not a number
  EXPECT_EQ(w.samples, (std::vector<float>{1.0F, 0.0F}));
}

TEST(wavFileTest, aStreamOfUnknownLengthEndsWithTheFile) {
  EXPECT_EQ(parseWav(wavOf(1, 1, 16, {0, 0, 0, 0, 0, 0}, 0x7FFFFFFF)).frames(), 3u);
}

TEST(wavFileTest, writesWhatItReads) {
  const std::string path = testing::TempDir() + "larchsim-wav-" + std::to_string(getpid()) + ".wav";
  writeWav(path, 48000, 2, std::vector<float>{0, 0.5F, -0.5F, 2, -2, 1});
  const wavData w = readWav(path);
  std::remove(path.c_str());
  EXPECT_EQ(w.rate_Hz, 48000);
  EXPECT_EQ(w.channels, 2);
  const float wanted[] = {0, 0.5F, -0.5F, 1, -1, 1};
  ASSERT_EQ(w.samples.size(), 6u);
  for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(w.samples[i], wanted[i], 1e-4);
}

TEST(wavFileTest, refusesWhatItCantRead) {
  EXPECT_THROW(readWav("/no/such/file.wav"), std::runtime_error);
  EXPECT_THROW(writeWav("/no/such/folder/file.wav", 8000, 1, {}), std::runtime_error);
  EXPECT_THROW(parseWav({}), std::runtime_error);
  EXPECT_THROW(parseWav(wavOf(1, 0, 16, {}, 0)), std::runtime_error);
  EXPECT_THROW(parseWav(wavOf(1, 3, 16, {}, 0)), std::runtime_error);
  EXPECT_THROW(parseWav(wavOf(7, 1, 8, {}, 0)), std::runtime_error);
  EXPECT_THROW(parseWav(wavOf(1, 1, 12, {}, 0)).frames(), std::runtime_error);
}

TEST(wavFileTest, survivesAnyBytes) {
  std::mt19937 random(5);
  const file good = wavOf(1, 2, 16, file(64), 64);
  for (int round = 0; round < 5000; ++round) {
    file f(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(random() % (good.size() + 1)));
    for (int i = 0; i < 3 && !f.empty(); ++i) f[random() % f.size()] = static_cast<uint8_t>(random());
    try {
      parseWav(f);
    } catch (const std::runtime_error&) {
    }
  }
}
