// A directory for capture files, and waiting for what a thread writes there.
#pragma once
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace larch::test {

struct emptyDirectory {
  std::filesystem::path path;

  emptyDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "larchChirpXXXXXX").string();
    path = mkdtemp(name.data());
  }
  ~emptyDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::filesystem::path file() const { return path / "chirpud3_9.csv"; }
};

// Whole lines only.
inline std::vector<std::string> linesOf(const std::filesystem::path& file) {
  std::ifstream in(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line) && !in.eof();) lines.push_back(line);
  return lines;
}

template <class Condition> void awaitThat(Condition holds) {
  for (int patience_ms = 20000; patience_ms > 0 && !holds(); patience_ms--)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

inline std::vector<std::string> awaitLines(const std::filesystem::path& file, size_t count) {
  std::vector<std::string> lines;
  awaitThat([&] {
    lines = linesOf(file);
    return lines.size() >= count;
  });
  if (lines.size() < count) lines.resize(count, "missing");
  return lines;
}

} // namespace larch::test
