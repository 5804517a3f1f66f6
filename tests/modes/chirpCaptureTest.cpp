#include "modes/chirpCapture.h"
#include "tests/modes/chirpCaptureTesting.h"
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

namespace larch::test {
namespace {

TEST(chirpCaptureTest, linesAreWrittenWhenTheLastIsThere) {
  const emptyDirectory directory;
  chirpCapture capture(directory.file());
  for (int i = 0; i < chirpCapture::lineCount; i++) {
    EXPECT_FALSE(capture.isFull());
    EXPECT_FALSE(std::filesystem::exists(directory.file()));
    capture.add(i, 0.5 * i, -0.25);
  }
  EXPECT_TRUE(capture.isFull());
  capture.add(1e6, 1e6, 1e6); // one too many
  const auto lines = awaitLines(directory.file(), chirpCapture::lineCount);
  EXPECT_EQ(lines[0], "0, 0, -0.25");
  EXPECT_EQ(lines[1], "1, 0.5, -0.25");
  EXPECT_EQ(lines[7679], "7679, 3839.5, -0.25");
}

TEST(chirpCaptureTest, anObjectThatGoesLeavesTheLinesSoFar) {
  const emptyDirectory directory;
  {
    chirpCapture capture(directory.file());
    capture.add(1.0, 2.0, -1.0);
    capture.add(3.0, 1e-9, 12345678.0);
  }
  const auto lines = awaitLines(directory.file(), 2);
  EXPECT_EQ(lines[0], "1, 2, -1");
  EXPECT_EQ(lines[1], "3, 1e-09, 1.23457e+07");
}

TEST(chirpCaptureTest, anOldFileIsReplacedAndALinkIsNotFollowed) {
  const emptyDirectory directory;
  const auto victim = directory.path / "victim";
  std::ofstream(victim) << "precious\nlines\nthree\n";
  std::filesystem::create_symlink(victim, directory.file());
  { chirpCapture(directory.file()).add(1.0, 2.0, 3.0); }
  awaitThat([&] { return !std::filesystem::is_symlink(directory.file()); });
  EXPECT_EQ(awaitLines(directory.file(), 1)[0], "1, 2, 3");
  EXPECT_EQ(linesOf(victim).size(), 3u);
}

TEST(chirpCaptureTest, aPlaceThatCantBeWrittenDoesNoHarm) {
  const emptyDirectory directory;
  std::ofstream(directory.path / "file") << "x";
  for (const std::filesystem::path& where :
       {directory.path / "missing" / "a.csv", directory.path / "file" / "a.csv", directory.path, std::filesystem::path()}) {
    chirpCapture capture(where);
    for (int i = 0; i < chirpCapture::lineCount; i++) capture.add(1, 2, 3);
    EXPECT_TRUE(capture.isFull());
  }
  // a later one finds its way: the writers before it have done no harm
  { chirpCapture(directory.file()).add(1.0, 2.0, 3.0); }
  EXPECT_EQ(awaitLines(directory.file(), 1)[0], "1, 2, 3");
}

TEST(chirpCaptureTest, nothingCapturedIsNoFile) {
  const emptyDirectory directory;
  { chirpCapture capture(directory.file()); }
  { chirpCapture(directory.path / "other").add(1.0, 2.0, 3.0); }
  awaitLines(directory.path / "other", 1);
  EXPECT_FALSE(std::filesystem::exists(directory.file()));
}

TEST(chirpCaptureTest, theFileStandsInTheSystemsTemporaryDirectory) {
  EXPECT_EQ(chirpCapture::defaultFile(), std::filesystem::temp_directory_path() / "chirpud3_9.csv");
}

} // namespace
} // namespace larch::test
