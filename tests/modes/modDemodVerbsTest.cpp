#include "modes/modDemod.h"
#include "tests/runtime/testGroup.h"
#include <gtest/gtest.h>
#include <vector>

namespace larch::test {
namespace {

class verbMode : public modDemod {
 public:
  using modDemod::modDemod;
  void verb(int32_t number) {
    onSignalGroup("verbMode.verb", [this, number](const modDemodOwner& held) {
      done.push_back(number);
      on.push_back(held.object.lock().get());
    });
  }
  std::vector<int32_t> done;
  std::vector<asyncObject*> on;
};

struct modDemodVerbsTest : testing::Test {
  testGroup g;
  std::shared_ptr<verbMode> mode = keptByCore(std::make_shared<verbMode>(g.group));
  std::shared_ptr<asyncObject> transceiver() {
    return keptByCore(std::make_shared<asyncObject>(std::make_shared<syncTask>(g.pool.get())));
  }
  void attach(const std::shared_ptr<asyncObject>& object) {
    modDemodOwner view;
    view.object = object;
    mode->owner.publish(view);
  }
};

using numbers = std::vector<int32_t>;

TEST_F(modDemodVerbsTest, verbsOfAModeThatServesNobodyRunAtOnce) {
  mode->verb(1);
  EXPECT_EQ(mode->done, numbers{1});
  EXPECT_EQ(mode->on, std::vector<asyncObject*>{nullptr});
  auto gone = transceiver();
  attach(gone);
  gone.reset();
  mode->verb(2);
  EXPECT_EQ(mode->done, (numbers{1, 2}));
}

TEST_F(modDemodVerbsTest, verbsRunOnTheTransceiversGroupInTheirOrder) {
  const auto held = transceiver();
  attach(held);
  mode->verb(1);
  mode->verb(2);
  EXPECT_TRUE(mode->done.empty());
  g.turns();
  EXPECT_EQ(mode->done, (numbers{1, 2}));
  EXPECT_EQ(mode->on, (std::vector<asyncObject*>{held.get(), held.get()}));
}

TEST_F(modDemodVerbsTest, verbsFollowAModeThatChangesHands) {
  const auto first = transceiver(), second = transceiver();
  attach(first);
  mode->verb(1);
  attach(second);
  g.turns();
  EXPECT_EQ(mode->on, std::vector<asyncObject*>{second.get()});
  mode->verb(2);
  mode->owner.publish({});
  g.turns();
  EXPECT_EQ(mode->on.back(), nullptr) << "let go meanwhile";
  EXPECT_EQ(mode->done, (numbers{1, 2}));
}

TEST_F(modDemodVerbsTest, verbsOfAModeThatWasLetGoComeBackToItsOwnGroup) {
  const auto held = transceiver();
  attach(held);
  mode->verb(1);
  mode->owner.publish({});
  g.pool->turn(); // the transceiver's
  EXPECT_TRUE(mode->done.empty());
  g.turns();
  EXPECT_EQ(mode->done, numbers{1});
}

TEST_F(modDemodVerbsTest, aWaitingVerbKeepsTheMode) {
  const auto held = transceiver();
  attach(held);
  const std::weak_ptr<verbMode> watched = mode;
  mode->verb(1);
  mode.reset();
  EXPECT_FALSE(watched.expired());
  g.turns();
  EXPECT_TRUE(watched.expired());
}

} // namespace
} // namespace larch::test
