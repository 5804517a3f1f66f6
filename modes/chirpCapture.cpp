#include "modes/chirpCapture.h"
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <system_error>
#include <thread>

namespace larch {

std::filesystem::path chirpCapture::defaultFile() {
  std::error_code none;
  const auto directory = std::filesystem::temp_directory_path(none);
  return none ? std::filesystem::path() : directory / fileName;
}

chirpCapture::chirpCapture(std::filesystem::path file) : file_(std::move(file)) { lines_.reserve(lineCount); }

chirpCapture::~chirpCapture() {
  if (captureCount_ > 0 && !isFull()) handOver();
}

void chirpCapture::add(double up, double down, double difference) {
  if (isFull()) return;
  lines_.push_back({up, down, difference});
  if (++captureCount_ == lineCount) handOver();
}

// No group waits for a disk. Without memory or threads the table is lost.
void chirpCapture::handOver() {
  if (file_.empty()) return;
  try {
    std::thread([file = std::move(file_), lines = std::move(lines_)] { write(file, lines); }).detach();
  } catch (const std::exception&) {
  }
}

// The old file goes first and the new one must be new: a link that somebody else left in a shared directory isn't followed.
void chirpCapture::write(const std::filesystem::path& file, const std::vector<line>& lines) {
  try {
    std::error_code absent;
    std::filesystem::remove(file, absent);
    const std::unique_ptr<FILE, int (*)(FILE*)> out(std::fopen(file.c_str(), "wx"), std::fclose);
    if (!out) return;
    for (const line& l : lines) {
      const std::string text = fmt::format("{:g}, {:g}, {:g}\n", l[0], l[1], l[2]); // whatever the host's locale
      if (std::fwrite(text.data(), 1, text.size(), out.get()) != text.size()) return;
    }
  } catch (const std::exception&) {
  }
}

} // namespace larch
