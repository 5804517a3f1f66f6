// What init makes once and the library keeps for its whole life.
#pragma once
#include "runtime/sothreadpool.h"
#include "runtime/syncTask.h"
#include <memory>
#include <string>

namespace larch {

// Dump file name, log file, pool and default group, in this order. Throws when the log can't be opened or no thread can be had.
void startRuntime(const std::string& logPath, int logMode);

sothreadpool* pool();                            // null before startRuntime
const std::shared_ptr<syncTask>& defaultGroup(); // null before startRuntime

} // namespace larch
