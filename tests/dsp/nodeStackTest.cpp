#include "dsp/nodeStack.h"
#include <array>
#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <vector>

namespace larch {
namespace {

TEST(nodeStackTest, lastPushedIsPoppedFirst) {
  std::array<listNode, 4> nodes;
  nodeStack stack(nullptr);
  EXPECT_EQ(stack.pop(), nullptr);
  for (auto& n : nodes) stack.push(&n);
  for (std::size_t i = nodes.size(); i-- > 0;) EXPECT_EQ(stack.pop(), &nodes[i]);
  EXPECT_EQ(stack.pop(), nullptr);
}

// What a slow pop read before others popped and pushed the same node must not look like the present again.
TEST(nodeStackTest, sameNodeOnTopAfterAPopIsAnotherHead) {
  std::array<listNode, 2> nodes;
  nodeStack stack(nullptr);
  stack.push(&nodes[0]);
  stack.push(&nodes[1]);
  std::set<uintptr_t> seen{stack.word()};
  for (int i = 0; i < 65535; i++) { // the tag has 16 bits
    stack.push(stack.pop());
    ASSERT_TRUE(seen.insert(stack.word()).second) << i;
  }
  EXPECT_EQ(stack.pop(), &nodes[1]) << "tags never touch the address";
  EXPECT_EQ(stack.pop(), &nodes[0]);
  EXPECT_EQ(stack.pop(), nullptr);
}

TEST(nodeStackTest, pushKeepsTheTag) {
  std::array<listNode, 2> nodes;
  nodeStack stack(nullptr);
  stack.push(&nodes[0]);
  stack.push(stack.pop());
  const uintptr_t tag = stack.word() - reinterpret_cast<uintptr_t>(&nodes[0]);
  EXPECT_EQ(tag, uintptr_t(1) << 48);
  stack.push(&nodes[1]);
  EXPECT_EQ(stack.word() - reinterpret_cast<uintptr_t>(&nodes[1]), tag);
}

TEST(nodeStackTest, CONCURRENTnodesAreNeitherLostNorDoubled) {
  constexpr int threads = 4, rounds = 20000;
  std::array<listNode, 6> nodes;
  nodeStack stack(nullptr);
  for (auto& n : nodes) stack.push(&n);
  std::atomic<int> ready = 0, doubled = 0;
  std::vector<std::thread> all;
  for (int t = 0; t < threads; t++)
    all.emplace_back([&] {
      ready++;
      while (ready < threads) std::this_thread::yield();
      for (int r = 0; r < rounds; r++) {
        listNode *a = stack.pop(), *b = stack.pop();
        for (listNode* n : {a, b})
          if (n) doubled += n->block != nullptr; // somebody else holds it too
        if (a) a->block = &all;
        if (b) b->block = &all;
        if (r % 64 == 0) std::this_thread::yield();
        for (listNode* n : {a, b})
          if (n) {
            n->block = nullptr;
            stack.push(n);
          }
      }
    });
  for (auto& t : all) t.join();
  EXPECT_EQ(doubled, 0);
  std::set<listNode*> left;
  while (listNode* n = stack.pop()) ASSERT_TRUE(left.insert(n).second);
  EXPECT_EQ(left.size(), nodes.size());
}

} // namespace
} // namespace larch
