#include "modes/rttyConsole.h"
#include "platform/standardOutput.h"
#include <fmt/format.h>
#include <system_error>
#include <thread>

namespace larch {
namespace {

constexpr int32_t silentDrift = 2;

} // namespace

std::string consoleText(const rttyPeriod& p) {
  std::string text;
  if (p.moved)
    text = fmt::format("{:g} {:g} {:g} {:g} {:g} {:g}\n", p.metrics[0], p.metrics[1], p.metrics[2], p.lastMetrics[0],
                       p.lastMetrics[1], p.lastMetrics[2]);
  if (!p.hasCharacter) return text;
  if (p.drift > silentDrift) text += fmt::format("#{}", p.drift);
  return text + p.character;
}

rttyConsole& rttyConsole::shared() {
  static auto* console = new rttyConsole;
  return *console;
}

rttyConsole::rttyConsole() : waiting_(0, 0) {
  try {
    std::thread([this] { run(); }).detach();
  } catch (const std::system_error& e) { // decoding goes on, the host still gets its text
    logError("rttyConsole {}", e.what());
  }
}

void rttyConsole::post(const rttyPeriod& period) {
  if (!period.moved && !period.hasCharacter) return;
  if (queue_.push(period)) waiting_.signal();
}

void rttyConsole::run() {
  blockSignals();
  while (true) {
    while (!waiting_.wait()) {
    }
    rttyPeriod period;
    if (!queue_.pop(period)) continue;
    const std::string text = consoleText(period);
    writeStandardOutput(text.data(), text.size());
  }
}

} // namespace larch
