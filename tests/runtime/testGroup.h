// A pool without workers, whose turns a test takes itself, and an object of a group on it.
#pragma once
#include "runtime/property.h"
#include "runtime/sothreadpool.h"
#include <memory>

namespace larch {

struct testGroup {
  std::unique_ptr<sothreadpool> pool = std::make_unique<sothreadpool>(0);
  std::shared_ptr<syncTask> group = std::make_shared<syncTask>(pool.get());

  testGroup() = default;
  ~testGroup() { // whatever still waits holds memory; what dies behind the last pop posts once more
    for (int i = 0; i < 3; i++) {
      turns();
      pool->getRenderUpdates();
      pool->getUpdates();
    }
  }
  void turns() {
    while (pool->turn()) {
    }
  }
};

// One property of each kind.
class sample : public asyncObject {
 public:
  using asyncObject::asyncObject;
  property<double> level{1.0};
  property<int32_t> count{5};
  property<std::string> text{"start"};
  property<std::shared_ptr<asyncObject>> part;
};

} // namespace larch
