#include "host/decoderQueue.h"
#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>
#include <thread>

namespace larchhost {
namespace {

constexpr std::chrono::milliseconds pause{5};

} // namespace

decoderQueue::run::run(job what, const std::string& command, clock::time_point limit)
    : name(std::move(what.name)), process(decoderCommand(command, what.path)), until(limit) {}

void decoderQueue::add(const std::string& path, const std::string& name) {
  if (settings_.command.empty()) return;
  if (waiting_.size() == mostWaiting) {
    leftOut_.push_back(waiting_.front().name);
    waiting_.pop_front();
  }
  waiting_.push_back({path, name});
}

std::vector<decoderNews> decoderQueue::poll(clock::time_point now) {
  std::vector<decoderNews> news;
  for (const auto& name : leftOut_) news.push_back({name, "left out: the decoder doesn't keep up", true});
  leftOut_.clear();
  for (auto each = running_.begin(); each != running_.end();) {
    const bool over = each->process.ended();
    for (auto& line : each->process.takeLines()) news.push_back({each->name, std::move(line)});
    if (!over) watch(*each, now, news);
    if (over && !each->process.fault().empty()) news.push_back({each->name, "the decoder " + each->process.fault(), true});
    each = over ? running_.erase(each) : std::next(each);
  }
  start(now, news);
  return news;
}

void decoderQueue::start(clock::time_point now, std::vector<decoderNews>& news) {
  while (!waiting_.empty() && running_.size() < settings_.atOnce) {
    const job next = std::move(waiting_.front());
    waiting_.pop_front();
    try {
      running_.emplace_back(next, settings_.command, now + settings_.limit);
    } catch (const std::runtime_error& e) {
      news.push_back({next.name, e.what(), true});
    }
  }
}

void decoderQueue::watch(run& each, clock::time_point now, std::vector<decoderNews>& news) const {
  if (now < each.until) return;
  if (!each.asked) {
    const auto limit = std::chrono::duration<double>(settings_.limit).count();
    news.push_back({each.name, fmt::format("the decoder hasn't ended within {:g} s and is ended", limit), true});
    each.process.ask();
    each.asked = true;
    each.until = now + patience;
  } else if (!each.killed) {
    each.process.kill();
    each.killed = true;
  }
}

void decoderQueue::stop() {
  waiting_.clear();
  for (run& each : running_) each.process.ask();
  for (const auto end = clock::now() + patience; !running_.empty() && clock::now() < end; std::this_thread::sleep_for(pause))
    running_.remove_if([](run& each) { return each.process.ended(); });
  running_.clear(); // kills the rest
}

} // namespace larchhost
