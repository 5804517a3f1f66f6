// What a group keeps while its worker is held back: the log is a pipe that the test fills, so that a task with an error waits in
// its log line.
#include "tests/boundary/testHost.h"
#include <algorithm>
#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <vector>

using namespace testHost;

namespace {

std::vector<int32_t> heard;

pid_t self() { return static_cast<pid_t>(syscall(SYS_gettid)); }

bool asleep(const std::string& thread) {
  const std::string status = contents("/proc/self/task/" + thread + "/stat");
  const size_t behindName = status.rfind(')');
  return behindName != std::string::npos && behindName + 2 < status.size() && status[behindName + 2] == 'S';
}
// All threads of the process but the calling one, many times in a row.
void waitUntilOthersSleep() {
  for (int calm = 0; calm < 50;) {
    bool all = true;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
      const std::string thread = entry.path().filename();
      if (thread != std::to_string(self()) && !asleep(thread)) all = false;
    }
    calm = all ? calm + 1 : 0;
    std::this_thread::yield();
  }
}

struct pipeLog {
  int fd;
  std::string text;

  explicit pipeLog(const std::string& path) {
    mkfifo(path.c_str(), 0600);
    fd = open(path.c_str(), O_RDWR | O_NONBLOCK);
    init(path.c_str(), 0);
    unlink(path.c_str());
  }
  void fill() {
    const std::string block(4096, '.');
    while (write(fd, block.data(), block.size()) > 0) {
    }
    while (write(fd, block.data(), 1) > 0) {
    }
  }
  void drain(int wait_ms) {
    pollfd waiting{fd, POLLIN, 0};
    char block[4096];
    while (poll(&waiting, 1, wait_ms) > 0) {
      const ssize_t n = read(fd, block, sizeof block);
      if (n <= 0) return;
      text.append(block, static_cast<size_t>(n));
    }
  }
};

} // namespace

TEST(setRingTest, the1025thWaitingSetIsLoggedAndLost) {
  constexpr int32_t usable = 1024;
  pipeLog log(temporaryPath("pipe"));
  ASSERT_GE(log.fd, 0);
  asyncObject* h = watched(asyncObject_create());
  J16Filter* filter = watched(J16Filter_create());
  J16FilterBands* band = watched(J16FilterBands_create());
  asyncObject_bindEcho(h, [](int32_t v) { heard.push_back(v); });

  log.fill();
  J16Filter_setFilterBands(filter, larch_put, -1, band); // its error line finds the pipe full
  waitUntilOthersSleep();                                // the worker among them: in its line
  for (int32_t i = 1; i <= usable; i++) asyncObject_Ping(h, i);

  // the next one waits in a log line itself; then the pipe may run
  std::atomic<bool> about{false}, over{false};
  const std::string host = std::to_string(self());
  std::thread drainer([&] {
    while (!about) std::this_thread::yield();
    for (int calm = 0; calm < 50; calm = asleep(host) ? calm + 1 : 0) std::this_thread::yield();
    while (!over) log.drain(1);
  });
  about = true;
  asyncObject_Ping(h, usable + 1);
  over = true;
  drainer.join();

  std::thread reader([&] { // whatever else is logged must not stop anybody
    while (over) log.drain(1);
  });
  EXPECT_TRUE(pollUntil([] { return heard.size() >= size_t{usable}; }));
  asyncObject_Ping(h, 5000);
  EXPECT_TRUE(pollUntil([] { return !heard.empty() && heard.back() == 5000; }));
  for (auto* object : {h, base(filter), base(band)}) EXPECT_TRUE(releaseAndWait(object));
  over = false;
  reader.join();

  std::vector<int32_t> expected(usable);
  for (int32_t i = 0; i < usable; i++) expected[static_cast<size_t>(i)] = i + 1;
  expected.push_back(5000);
  EXPECT_EQ(heard, expected);
  EXPECT_EQ(count(log.text, "[error] Can't queue property set\r\n"), 1u);
  EXPECT_EQ(count(log.text, "processPropertySetQueue"), 1u);
}
