// Received text on standard output: its form, a reader that stops, a reader that goes, the end of the process.
#include "modes/rttyConsole.h"
#include "tests/modes/rttyPipe.h"
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>

namespace larch::test {
namespace {

rttyPeriod characterOf(char c, int32_t drift = 0) {
  rttyPeriod p;
  p.hasCharacter = true;
  p.character = c;
  p.drift = drift;
  return p;
}
void post(const std::string& text) {
  for (const char c : text) rttyConsole::shared().post(characterOf(c));
}

TEST(rttyConsoleTest, aCharacterIsItself) {
  EXPECT_EQ(consoleText(characterOf('A')), "A");
  EXPECT_EQ(consoleText(characterOf('A', 2)), "A");
  EXPECT_EQ(consoleText(characterOf('\xA3')), "\xA3");
  EXPECT_EQ(consoleText(characterOf('\0')), std::string(1, '\0'));
  EXPECT_EQ(consoleText({}), "");
}

TEST(rttyConsoleTest, aPhaseThatMovedShowsItsMetricsAndItsDrift) {
  rttyPeriod p = characterOf('A', 12);
  p.moved = true;
  p.metrics = {1.5, 200, -3};
  p.lastMetrics = {0.25, 1e-9, 1234567.0};
  EXPECT_EQ(consoleText(p), "1.5 200 -3 0.25 1e-09 1.23457e+06\n#12A");
  p.hasCharacter = false; // a shift
  EXPECT_EQ(consoleText(p), "1.5 200 -3 0.25 1e-09 1.23457e+06\n");
}

TEST(rttyConsoleTest, textComesInItsOrder) {
  outputPipe out;
  std::string text = "begin ";
  for (int c = 0; c < 200; c++) text += static_cast<char>(c); // byte 0, too
  text += " end";
  post(text);
  const std::string read = out.readUntil(" end");
  EXPECT_NE(read.find(text), std::string::npos) << read;
}

TEST(rttyConsoleTest, aReaderThatStopsHoldsUpNobody) {
  outputPipe out;
  out.stall();
  const std::string more(5000, 'x'); // far more than the queue holds: returns all the same
  post("head " + more);
  EXPECT_NE(out.readUntil("xxxxxxxxxx").find("head x"), std::string::npos);
  std::string behind; // some was lost; what comes now is written again
  while (behind.empty() || (behind.find('y') == std::string::npos && behind.size() < more.size())) {
    post("y");
    behind += out.readSome();
  }
  EXPECT_NE(behind.find('y'), std::string::npos);
  EXPECT_LT(std::count(behind.begin(), behind.end(), 'x'), 1000) << "the queue is bounded";
}

TEST(rttyConsoleTest, aReaderThatGoesEndsNothing) {
  {
    outputPipe out;
    post("first");
    out.readUntil("first");
    out.closeReader();
    post("nobody reads this");
    out.restore();
  }
  outputPipe out;
  post("again.");
  EXPECT_NE(out.readUntil("again.").find("again."), std::string::npos);
}

using rttyConsoleDeathTest = testing::Test;

TEST(rttyConsoleDeathTest, aProcessEndsWhileItsTextWaits) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        outputPipe out;
        out.stall();
        post("nobody reads this");
        std::exit(3);
      },
      testing::ExitedWithCode(3), "");
}

} // namespace
} // namespace larch::test
