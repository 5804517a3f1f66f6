// A library that could not start, and what a host may still do with it.
#include "tests/boundary/testHost.h"
#include <filesystem>
#include <gtest/gtest.h>

namespace {

size_t threads() {
  size_t n = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) n += !entry.path().empty();
  return n;
}

} // namespace

TEST(initFailureTest, anUnwritablePathThrowsAndStartsNothing) {
  const size_t before = threads();
  std::string words;
  try {
    init("/dev/null/log.txt", 1); // below something that is no folder
  } catch (const std::exception& e) {
    words = e.what();
  }
  EXPECT_NE(words.find("Failed opening file "), std::string::npos) << words;
  EXPECT_NE(words.find(" for writing"), std::string::npos) << words;
  EXPECT_EQ(threads(), before);

  // objects have no group to run in: a verb is logged to the console and lost
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  asyncObject* h = asyncObject_create();
  asyncObject_Ping(h, 1);
  asyncObject_release(h);
  const std::string console = testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
  EXPECT_NE(console.find("queueSetItem null taskgroup asyncObject.Ping()"), std::string::npos) << console;

  // and a start on a good path succeeds
  testHost::start();
  h = testHost::watched(asyncObject_create());
  EXPECT_TRUE(testHost::settle(h));
  EXPECT_TRUE(testHost::releaseAndWait(h));
}
