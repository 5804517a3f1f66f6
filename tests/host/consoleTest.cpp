#include "host/console.h"
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace larchhost;

namespace {

// Both ends of an output that nobody reads yet: `inner` is the program's.
struct deafOutput {
  int inner = -1, outer = -1;
  ~deafOutput() {
    close(inner);
    if (outer >= 0) close(outer);
  }
  std::string read() const {
    std::string all;
    char part[4096];
    for (pollfd p{outer, POLLIN, 0}; poll(&p, 1, 0) > 0;) {
      const ssize_t n = ::read(outer, part, sizeof part);
      if (n <= 0) break;
      all.append(part, static_cast<size_t>(n));
    }
    return all;
  }
  bool blocking() const { return (fcntl(inner, F_GETFL) & O_NONBLOCK) == 0; }
};

void openTerminal(deafOutput& o) {
  o.outer = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(o.outer), 0);
  ASSERT_EQ(unlockpt(o.outer), 0);
  o.inner = open(ptsname(o.outer), O_RDWR | O_NOCTTY);
  ASSERT_GE(o.inner, 0);
}
void openPipe(deafOutput& o) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  o.outer = ends[0];
  o.inner = ends[1];
}
void openSocket(deafOutput& o) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  o.outer = ends[0];
  o.inner = ends[1];
}

class lineOutputTest : public testing::TestWithParam<void (*)(deafOutput&)> {
 protected:
  lineOutputTest() { std::signal(SIGPIPE, SIG_IGN); } // as the program
};

// Line numbers that were read, each in a whole line.
std::vector<int> numbers(const std::string& text) {
  std::vector<int> found;
  for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
    std::string line = text.substr(at, end - at);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    EXPECT_EQ(line.size(), 101u) << line;
    EXPECT_EQ(line.find_first_not_of("0123456789"), 6u) << line;
    found.push_back(std::atoi(line.c_str()));
  }
  return found;
}

std::string numbered(int i) {
  const std::string number = std::to_string(1000000 + i).substr(1);
  return number + std::string(95, '.');
}

TEST_P(lineOutputTest, anOutputThatNobodyReadsHoldsNothingUp) {
  deafOutput o;
  GetParam()(o);
  {
    lineOutput lines(o.inner);
    for (int i = 0; i < 10000; i++) lines.print(numbered(i)); // 1 MB
    const std::vector<int> seen = numbers(o.read());
    EXPECT_GT(seen.size(), 10u);
    EXPECT_LT(seen.size(), 9000u);
  }
  EXPECT_TRUE(o.blocking()); // as it was
}

TEST_P(lineOutputTest, whatWasCutGoesOnWhereItWas) {
  deafOutput o;
  GetParam()(o);
  lineOutput lines(o.inner);
  for (int i = 0; i < 10000; i++) lines.print(numbered(i));
  std::string text = o.read();
  lines.print(numbered(77777));
  text += o.read();
  const std::vector<int> seen = numbers(text);
  ASSERT_GT(seen.size(), 2u);
  for (size_t i = 1; i < seen.size(); i++) EXPECT_GT(seen[i], seen[i - 1]);
  EXPECT_EQ(seen.back(), 77777);
}

TEST_P(lineOutputTest, aClosedOutputIsAnError) {
  deafOutput o;
  GetParam()(o);
  lineOutput lines(o.inner);
  close(o.outer);
  o.outer = -1;
  EXPECT_THROW(lines.print("gone"), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(all, lineOutputTest, testing::Values(openTerminal, openPipe, openSocket));

} // namespace
