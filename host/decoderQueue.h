// Files on their way through the decoder: a few at work, a few that wait, none for ever.
#pragma once
#include "host/decoderProcess.h"
#include <chrono>
#include <deque>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace larchhost {

struct decoderSettings {
  std::string command;                    // with {} for the file; empty: no decoder
  size_t atOnce = 2;                      // running
  std::chrono::milliseconds limit{60000}; // of one run
};

// Something to tell of a file.
struct decoderNews {
  std::string file;
  std::string text;
  bool fault = false; // of the decoder's; else a line of it
};

// `poll` starts, reads and ends; it doesn't wait. A decoder over its limit is asked to end and, if it doesn't within
// `patience`, killed. When too many wait, the oldest is left out.
class decoderQueue {
 public:
  using clock = std::chrono::steady_clock;
  static constexpr size_t mostWaiting = 8;
  static constexpr std::chrono::milliseconds patience{2000};

  explicit decoderQueue(decoderSettings settings) : settings_(std::move(settings)) {}

  void add(const std::string& path, const std::string& name);
  std::vector<decoderNews> poll(clock::time_point now);
  bool idle() const { return waiting_.empty() && running_.empty(); }
  size_t running() const { return running_.size(); }
  // Drops what waits, asks what runs to end, and kills it after `patience`. Waits.
  void stop();

 private:
  struct job {
    std::string path, name;
  };
  struct run {
    run(job what, const std::string& command, clock::time_point limit);
    std::string name;
    decoderProcess process;
    clock::time_point until;
    bool asked = false, killed = false;
  };
  void start(clock::time_point now, std::vector<decoderNews>& news);
  void watch(run& each, clock::time_point now, std::vector<decoderNews>& news) const;

  const decoderSettings settings_;
  std::deque<job> waiting_;
  std::list<run> running_;
  std::vector<std::string> leftOut_;
};

} // namespace larchhost
