#include "runtime/snapshot.h"
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace larch;

TEST(snapshotTest, readerGetsTheLastPublished) {
  snapshot<std::string> text("a");
  EXPECT_EQ(text.load(), "a");
  text.publish("b");
  text.publish("c");
  EXPECT_EQ(text.load(), "c");
}

TEST(snapshotTest, oldValuesAreFreed) {
  auto token = std::make_shared<int>(1);
  {
    snapshot<std::shared_ptr<int>> s(token);
    EXPECT_EQ(s.load().use_count(), 3);
    s.publish(nullptr);
    EXPECT_EQ(token.use_count(), 1);
    s.publish(token);
  }
  EXPECT_EQ(token.use_count(), 1);
}

TEST(snapshotTest, oldValueIsFreedHoweverOftenItWasRead) {
  for (const int reads : {65535, 65536, 65537, 200000}) {
    auto token = std::make_shared<int>(1);
    snapshot<std::shared_ptr<int>> s(token);
    for (int i = 0; i < reads; i++) s.load();
    EXPECT_EQ(token.use_count(), 2);
    s.publish(nullptr);
    EXPECT_EQ(token.use_count(), 1) << reads;
  }
}

TEST(snapshotTest, readersSeeWholeValuesWhileAnotherThreadPublishes) {
  snapshot<std::string> text(std::string(100, 'a'));
  std::atomic<bool> stop{false};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; i++)
    readers.emplace_back([&] {
      while (!stop) {
        const std::string seen = text.load();
        ASSERT_EQ(seen, std::string(100, seen[0]));
      }
    });
  for (int i = 0; i < 20000; i++) text.publish(std::string(100, static_cast<char>('a' + i % 26)));
  stop = true;
  for (auto& t : readers) t.join();
}
