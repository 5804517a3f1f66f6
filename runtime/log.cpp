#include "runtime/log.h"
#include <chrono>
#include <cstdio>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <thread>

namespace larch {
namespace {

constexpr int openAttempts = 5;
constexpr std::chrono::milliseconds openPause{10};

// made once and never destroyed: workers log while the process ends
std::shared_ptr<spdlog::logger>& mainLog() {
  static auto* logger = new std::shared_ptr<spdlog::logger>(spdlog::default_logger());
  return *logger;
}
std::string& dumpPath() {
  static auto* path = new std::string;
  return *path;
}

std::shared_ptr<spdlog::sinks::basic_file_sink_mt> openSink(const std::string& path) {
  for (int attempt = 1;; attempt++) {
    try {
      return std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, false);
    } catch (const spdlog::spdlog_ex&) {
      if (attempt == openAttempts) throw;
      std::this_thread::sleep_for(openPause);
    }
  }
}

} // namespace

void openLog(const std::string& path, int mode) {
  auto logger = std::make_shared<spdlog::logger>("mainlog", openSink(path));
  logger->set_formatter(std::make_unique<spdlog::pattern_formatter>("%+", spdlog::pattern_time_type::local, "\r\n"));
  logger->flush_on(spdlog::level::err);
  spdlog::drop("mainlog");
  spdlog::set_default_logger(logger); // registers it by its name, too
  mainLog() = logger;
  spdlog::set_level(mode == 1 ? spdlog::level::info : spdlog::level::err);
}

void writeLog(logLevel level, const std::string& line) {
  mainLog()->log(level == logLevel::info ? spdlog::level::info : spdlog::level::err, line);
}

void setDumpPath(const std::string& path) { dumpPath() = path; }

void writeDump(const char* word, const char* name) {
  if (std::FILE* f = std::fopen(dumpPath().c_str(), "w")) {
    std::fprintf(f, "%s %s", word, name);
    std::fclose(f);
  }
}

} // namespace larch
