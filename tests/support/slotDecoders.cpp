#include "tests/support/slotDecoders.h"
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>

namespace larch::test {

std::string missingDecoders() {
  const int status = std::system("command -v ft8sim ft8code ft4code jt9 wsprsim wsprd >/dev/null 2>&1");
  if (status == 0) return {};
  return "the decoders are missing: apt-get install --no-install-recommends wsjtx";
}

decoderFolder::decoderFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "larch-slots-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no folder");
  folder_ = name + "/";
}

decoderFolder::~decoderFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string decoderFolder::run(const std::string& command) const {
  std::FILE* pipe = popen(("cd '" + folder_ + "' && " + command + " 2>&1").c_str(), "r");
  if (!pipe) throw std::runtime_error("no pipe");
  std::string text;
  char some[1024];
  while (const size_t n = std::fread(some, 1, sizeof some, pipe)) text.append(some, n);
  if (const int status = pclose(pipe); status != 0) throw std::runtime_error(command + " failed: " + text);
  return text;
}

std::optional<int> decoderFolder::snrOf(const std::string& printed, const std::string& message) {
  std::istringstream lines(printed);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string time;
    int snr = 0;
    if (line.find(message) != std::string::npos && words >> time >> snr) return snr;
  }
  return {};
}

std::string decoderFolder::makeFt8(const std::string& message, double snr_dB, const std::string& name) const {
  std::ostringstream command;
  command << "ft8sim '" << message << "' 1500 0 0 0 1 " << snr_dB << " && mv 000000_000001.wav " << name;
  run(command.str());
  return path(name);
}

std::vector<float> decoderFolder::tonesOf(const std::string& printed) {
  std::vector<float> tones;
  std::istringstream lines(printed);
  std::string line;
  while (std::getline(lines, line) && !line.starts_with("Channel symbols")) {
  }
  while (std::getline(lines, line) && !line.empty())
    for (const char c : line)
      if (c >= '0' && c <= '9') tones.push_back(static_cast<float>(c - '0'));
  return tones;
}

} // namespace larch::test
