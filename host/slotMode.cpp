#include "host/slotMode.h"
#include <algorithm>
#include <stdexcept>
#include <utility>

namespace larchhost {

slotMode* slotMode::only = nullptr;

slotMode::slotMode(const slotFormat& format, std::string folder, int32_t lowest_Hz)
    : format_(format), folder_(std::move(folder)), lowest_Hz_(lowest_Hz) {
  if (only) throw std::logic_error("one slot mode a process");
  only = this;
}

slotMode::~slotMode() { only = nullptr; }

// The function that is bound may be called once more when the mode has gone: what was on its way comes by the next poll.
modDemod* slotMode::create() {
  handle_ = JTModDemod_create();
  JTModDemod_setsaveDirectory(handle_, folder_.c_str());
  JTModDemod_setSaveMode(handle_, format_.c2 ? 1 : 0);
  JTModDemod_setperiod(handle_, format_.period_ms);
  JTModDemod_setDecimation(handle_, format_.decimation());
  JTModDemod_setsamplesPerBlock(handle_, format_.samplesPerBlock());
  JTModDemod_setendPadding(handle_, format_.endPadding());
  JTModDemod_setsamplesPerSymbol(handle_, format_.samplesPerSymbol);
  JTModDemod_settoneSpacing(handle_, format_.toneSpacing_Hz);
  JTModDemod_bindnewFile(handle_, [](const char* file) {
    if (only) only->files_.emplace_back(file);
  });
  auto* mode = reinterpret_cast<modDemod*>(handle_);
  modDemod_settxFreq(mode, lowest_Hz_);
  return mode;
}

void slotMode::detach(modDemod*) { handle_ = nullptr; }

std::string slotMode::name(sideband) const { return "slots"; }

void slotMode::queue(const std::vector<float>& tones, uint32_t tag) {
  if (!handle_) return;
  floatArray* array = floatArray_create(static_cast<int32_t>(tones.size()));
  std::copy(tones.begin(), tones.end(), floatArray_data(array));
  JTModDemod_queueMsg(handle_, array, tag);
  floatArray_delete(array);
}

void slotMode::withdraw() {
  if (handle_) JTModDemod_queueMsg(handle_, nullptr, 0);
}

std::vector<std::string> slotMode::takeFiles() { return std::exchange(files_, {}); }

} // namespace larchhost
