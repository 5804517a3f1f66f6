#include "runtime/library.h"
#include "runtime/log.h"

namespace larch {
namespace {

// never destroyed: workers touch them while the process ends
struct state {
  sothreadpool* pool = nullptr;
  std::shared_ptr<syncTask> defaultGroup;
};
state& kept() {
  static auto* s = new state;
  return *s;
}

} // namespace

void startRuntime(const std::string& logPath, int logMode) {
  setDumpPath(logPath + ".dump.txt");
  openLog(logPath, logMode);
  kept().pool = new sothreadpool;
  kept().defaultGroup = std::make_shared<syncTask>(kept().pool);
}

sothreadpool* pool() { return kept().pool; }
const std::shared_ptr<syncTask>& defaultGroup() { return kept().defaultGroup; }

} // namespace larch
