#include "sim/problemLog.h"
#include <numeric>
#include <fmt/format.h>

namespace larch::sim {

const char* problemName(problem kind) {
  switch (kind) {
  case problem::wrongLength: return "wrong length";
  case problem::wrongMagic: return "wrong magic";
  case problem::unknownCommand: return "unknown command";
  case problem::wrongEndpoint: return "wrong endpoint";
  case problem::wrongSync: return "wrong sync";
  case problem::sequenceBreak: return "sequence break";
  case problem::unknownRegister: return "unknown register";
  case problem::unknownRate: return "unknown rate";
  case problem::tooManyReceivers: return "too many receivers";
  case problem::frequencyTooHigh: return "frequency too high";
  case problem::foreignSender: return "foreign sender";
  case problem::unknownDevice: return "unknown device";
  case problem::deviceBusy: return "device busy";
  case problem::badField: return "bad field";
  case problem::unknownField: return "unknown field";
  case problem::notConfigured: return "not configured";
  case problem::count: break;
  }
  return "?";
}

void problemLog::add(problem kind, std::string text) {
  ++counts[static_cast<size_t>(kind)];
  texts.push_back(fmt::format("{}: {}", problemName(kind), text));
  if (texts.size() > keptTexts) texts.pop_front();
}

void problemLog::clear() {
  counts.fill(0);
  texts.clear();
}

uint64_t problemLog::total() const { return std::accumulate(counts.begin(), counts.end(), uint64_t{0}); }

std::string problemLog::summary() const {
  std::string line;
  for (size_t i = 0; i < counts.size(); ++i)
    if (counts[i] != 0) line += fmt::format("{}{} {}", line.empty() ? "" : ", ", problemName(static_cast<problem>(i)), counts[i]);
  return line.empty() ? "none" : line;
}

} // namespace larch::sim
