#include "sim/wavWriter.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace larch::sim {

namespace {
constexpr uint32_t headerBytes = 44, riffChunkBytes = 8, formatBytes = 16, formatPcm = 1, sampleBytes = 2;
constexpr uint32_t unknownLength = 0xFFFFFFFF;
constexpr size_t portion = 4096; // samples

using header = std::array<uint8_t, headerBytes>;

header headerOf(uint32_t rate, uint32_t width, uint32_t riffBytes, uint32_t dataBytes) {
  header h{};
  uint8_t* p = h.data();
  const auto put = [&p](uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) *p++ = static_cast<uint8_t>(v >> (8 * i));
  };
  const auto text = [&p](const char* t) { p = std::copy_n(t, 4, p); };
  text("RIFF"), put(riffBytes, 4), text("WAVE");
  text("fmt "), put(formatBytes, 4), put(formatPcm, 2), put(width / sampleBytes, 2);
  put(rate, 4), put(rate * width, 4), put(width, 2), put(8 * sampleBytes, 2);
  text("data"), put(dataBytes, 4);
  return h;
}
} // namespace

wavWriter::wavWriter(std::string path, double rate_Hz, int channels, uint64_t limit_bytes)
    : name(std::move(path)), rate(static_cast<uint32_t>(rate_Hz)), width(static_cast<uint32_t>(channels) * sampleBytes),
      limit(std::min(limit_bytes, longest_bytes) / width * width),
      handle(open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
  if (handle < 0) fail(errno);
  const header h = headerOf(rate, width, unknownLength, unknownLength);
  try {
    write(h.data(), h.size());
  } catch (...) {
    ::close(std::exchange(handle, -1));
    throw;
  }
  written = 0;
}

wavWriter::~wavWriter() {
  try {
    close();
  } catch (const std::runtime_error&) {
  }
}

void wavWriter::fail(int error) const {
  throw std::runtime_error(name + ": can't be written: " + std::generic_category().message(error));
}

void wavWriter::write(const uint8_t* bytes, size_t count) {
  while (count > 0) {
    const ssize_t done = ::write(handle, bytes, count);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) fail(done < 0 ? errno : ENOSPC);
    bytes += done;
    count -= static_cast<size_t>(done);
    written += static_cast<uint64_t>(done);
  }
}

void wavWriter::put(std::span<const float> interleaved) {
  std::array<uint8_t, portion * sampleBytes> bytes;
  while (!interleaved.empty()) {
    const size_t count = std::min({interleaved.size(), portion, static_cast<size_t>((limit - written) / sampleBytes)});
    if (count == 0) throw std::runtime_error(name + ": is full, a WAV file holds no more than 4 GiB");
    for (size_t n = 0; n < count; ++n) {
      const auto v = static_cast<uint32_t>(std::lrint(std::clamp<double>(interleaved[n], -1, 1) * 32767));
      bytes[2 * n] = static_cast<uint8_t>(v);
      bytes[2 * n + 1] = static_cast<uint8_t>(v >> 8);
    }
    write(bytes.data(), count * sampleBytes);
    interleaved = interleaved.subspan(count);
  }
}

void wavWriter::close() {
  if (handle < 0) return;
  const auto data = static_cast<uint32_t>(written / width * width); // a full disk may have cut a frame
  const header h = headerOf(rate, width, headerBytes - riffChunkBytes + data, data);
  const bool patched = pwrite(handle, h.data(), h.size(), 0) == static_cast<ssize_t>(h.size()) || errno == ESPIPE;
  const int error = errno;
  const bool closed = ::close(std::exchange(handle, -1)) == 0;
  if (!patched) fail(error);
  if (!closed) fail(errno);
}

} // namespace larch::sim
