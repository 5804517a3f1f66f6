// The log file as a host finds it.
#include "tests/boundary/testHost.h"
#include <cstdio>
#include <gtest/gtest.h>

using namespace testHost;

namespace {

struct logTest : testing::Test {
  logTest() { start(0); }
  // a callback that is missing when its time comes is logged
  static bool provokeAnError() {
    const size_t before = logged().size();
    asyncObject_release(asyncObject_create());
    return pollUntil([before] { return logged().size() > before; });
  }
};

} // namespace

TEST_F(logTest, anErrorIsInTheFileAtOnceWithCarriageReturnAndLineFeed) {
  ASSERT_TRUE(provokeAnError());
  const std::string text = logged();
  EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
  EXPECT_EQ(count(text, "\n"), count(text, "\r\n"));
  const std::string line = text.substr(0, text.find("\r\n"));
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, ms = 0, end = 0;
  EXPECT_EQ(std::sscanf(line.c_str(), "[%4d-%2d-%2d %2d:%2d:%2d.%3d] [mainlog] [error] %n", &year, &month, &day, &hour, &minute,
                        &second, &ms, &end),
            7)
      << line;
  EXPECT_EQ(line.substr(static_cast<size_t>(end)), "getUpdates bad_function_call");
}

TEST_F(logTest, aMissingDeletedIsALogLineAndNoCrash) {
  const size_t before = count(logged(), "getUpdates bad_function_call\r\n");
  ASSERT_TRUE(provokeAnError());
  EXPECT_EQ(count(logged(), "getUpdates bad_function_call\r\n"), before + 1);
}

TEST_F(logTest, aMissingEchoIsALogLineAndTheRestGoesOn) {
  asyncObject* h = watched(asyncObject_create());
  const size_t before = count(logged(), "getUpdates bad_function_call\r\n");
  asyncObject* other = watched(asyncObject_create()); // of the same group
  asyncObject_Ping(h, 1);
  EXPECT_TRUE(settle(other)); // behind it
  EXPECT_EQ(count(logged(), "getUpdates bad_function_call\r\n"), before + 1);
  EXPECT_TRUE(releaseAndWait(other));
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(logTest, aCallbackThatThrowsIsLoggedAndTheRestGoesOn) {
  asyncObject* h = watched(asyncObject_create());
  const std::string before = logged();
  echoes().erase(3);
  asyncObject_bindEcho(h, [](int32_t v) {
    if (v == 1) throw std::runtime_error("from the host");
    if (v == 2) throw 2;
    echoes()[v]++;
  });
  for (const int32_t v : {1, 2, 3}) asyncObject_Ping(h, v);
  EXPECT_TRUE(pollUntil([] { return echoes().count(3) != 0; }));
  const std::string added = logged().substr(before.size());
  EXPECT_EQ(count(added, "[error] getUpdates from the host\r\n"), 1u);
  EXPECT_EQ(count(added, "[error] getUpdates\r\n"), 1u);
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(logTest, aTaskThatThrowsIsLoggedWithItsName) {
  J16Filter* filter = watched(J16Filter_create());
  J16FilterBands* band = watched(J16FilterBands_create());
  const size_t before = logged().size();
  J16Filter_setFilterBands(filter, larch_put, -1, band);
  EXPECT_TRUE(settle(filter));
  EXPECT_EQ(count(logged().substr(before),
                  "[error] processPropertySetQueue collection index out of range J16Filter.FilterBands.set\r\n"),
            1u);
  EXPECT_TRUE(releaseAndWait(band));
  EXPECT_TRUE(releaseAndWait(filter));
}
