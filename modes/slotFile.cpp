#include "modes/slotFile.h"
#include "audio/writeWav.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <chrono>
#include <cstring>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <thread>

namespace larch {
namespace {

constexpr double fullScale = 32000.0;
constexpr size_t nameBytes = 14; // at the start, left empty
constexpr int32_t fileType = 2;  // slots of two minutes, for the decoders of this format
static_assert(std::endian::native == std::endian::little, "numbers are written as they lie in memory");

// 0 where nothing is loud enough for a scale
double scaleOf(double peak) {
  const double scale = fullScale / peak;
  return scale <= std::numeric_limits<float>::max() ? scale : 0.0;
}

template <class T> void append(std::ofstream& out, T value) {
  char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  out.write(bytes, sizeof(T));
}

void writeC2(const slotRecord& record) {
  std::ofstream out(record.path, std::ios::binary);
  const char name[nameBytes] = {};
  out.write(name, nameBytes);
  append(out, fileType);
  append(out, record.frequency_MHz);
  const buff<float>& values = record.samples.values;
  const double scale = scaleOf(record.samples.peak);
  for (uint64_t i = 0; i < values.count && out; i++) append(out, static_cast<float>(values.data[i] * scale));
}

} // namespace

// The padding of a long slot takes a tenth of a second: here nobody waits.
void writeSlot(const slotRecord& record) {
  const slotSamples& samples = record.samples;
  std::fill(samples.values.data + samples.kept, samples.values.data + samples.values.count, 0.0f);
  if (samples.iq)
    writeC2(record);
  else
    writeWav(record.path, samples.values, static_cast<float>(scaleOf(samples.peak)));
}

// The thread is let go: neither the next slot nor the end of the object or of the process waits for a disk, and nothing that it
// touches is ever destroyed before it.
void slotFileJob::start(slotRecord record) {
  const auto result = std::make_shared<std::promise<std::string>>();
  pending_ = result->get_future();
  try {
    if (running_.use_count() > mostRunning) throw std::runtime_error("too many capture files are still being written");
    std::thread([result, running = running_, record = std::move(record)]() mutable {
      try {
        writeSlot(record);
        record.samples = {}; // the memory is there for the next slot before the host hears of this one
        result->set_value(std::move(record.path));
      } catch (...) {
        result->set_exception(std::current_exception());
      }
    }).detach();
  } catch (...) {
    result->set_exception(std::current_exception());
  }
}

std::optional<std::string> slotFileJob::take() {
  if (!pending_.valid() || pending_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return std::nullopt;
  return pending_.get();
}

} // namespace larch
