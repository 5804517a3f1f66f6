#include "link/networkThread.h"
#include "platform/standardOutput.h"
#include "platform/threadClass.h"
#include "runtime/log.h"
#include <boost/asio/executor_work_guard.hpp>
#include <exception>
#include <system_error>
#include <thread>

namespace larch {
namespace {

// A client that floods its port keeps the thread busy, which then steps down as a worker does.
void serve(boost::asio::io_context& context) {
  blockSignals();
  workerScheduling scheduling;
  if (const int refused = scheduling.raise()) logError("networkThread setmm priority failed {}", refused);
  const auto forever = boost::asio::make_work_guard(context);
  for (;;) {
    try {
      if (context.poll_one() == 0) {
        context.run_one();
        scheduling.slept();
      }
      scheduling.betweenTurns();
    } catch (const std::exception& e) {
      logError("networkThread {}", e.what());
    } catch (...) {
      writeDump("networkThread", "??");
      logError("networkThread");
    }
  }
}

boost::asio::io_context* start() {
  auto* context = new boost::asio::io_context(1); // one thread runs it
  try {
    std::thread([context] { serve(*context); }).detach();
  } catch (const std::system_error& e) { // the ports stay deaf
    logError("networkThread {}", e.what());
  }
  return context;
}

} // namespace

boost::asio::io_context& networkContext() {
  static auto* context = start();
  return *context;
}

} // namespace larch
