#include "modes/PskModDemod.h"

namespace larch {
namespace {

constexpr int32_t scanningChannels = 30; // of each scanned speed
constexpr int32_t channelStep = 100;     // Hz
constexpr int32_t firstFrequency = 1500; // Hz, of the primary detectors and of rxFreq
constexpr int32_t tailSamples = 96000;   // two seconds of carrier after ptt falls
constexpr const pskMode& psk31 = pskModes[0];
constexpr const pskMode& psk63 = pskModes[1];

int32_t primaryOf(int32_t mode) {
  int32_t index = 2 * scanningChannels; // behind the scanning channels stands one detector for each mode, in the table's order
  for (const pskMode& m : pskModes) {
    if (m.value == mode) return index;
    index++;
  }
  return 0; // required: a mode outside the table selects detector 0
}

} // namespace

PskModDemod::PskModDemod(std::shared_ptr<syncTask> group) : modDemod(std::move(group)) {
  for (const pskMode& m : pskModes) Modes.append(keptByCore(std::make_shared<ValueLabelItem>(taskgroup, m.value, m.name)));
  for (int32_t i = 1; i <= scanningChannels; i++) addDetector(psk31, i * channelStep);
  for (int32_t i = 1; i <= scanningChannels; i++) addDetector(psk63, i * channelStep);
  for (const pskMode& m : pskModes) addDetector(m, firstFrequency);
  rxFreq.write(firstFrequency);
  txTailSamples = tailSamples;
  // after the first write: until rxFreq changes, txFreq stays as it was
  rxFreq.observer = [this] { txFreq.write(rxFreq.value); };
  mode.observer = [this] { modeChanged(); };
  primaryDetector.observer = [this] { primaryChanged(); };
}

void PskModDemod::addDetector(const pskMode& detected, int32_t frequency) {
  auto row = keptByCore(std::make_shared<PskDetector>(taskgroup));
  row->configure(detected, frequency);
  dets.append(std::move(row));
}

std::shared_ptr<PskDetector> PskModDemod::detector(int32_t index) const {
  const auto at = static_cast<size_t>(index); // negative: beyond the end
  return at < dets.items.size() ? dets.items[at] : nullptr;
}

void PskModDemod::modeChanged() {
  const auto present = detector(primaryDetector.value);
  if (present && present->mode() == mode.value) return;
  const int32_t index = primaryOf(mode.value);
  if (const auto next = detector(index)) next->restart();
  primaryDetector.write(index);
}

void PskModDemod::primaryChanged() {
  if (const auto present = detector(primaryDetector.value)) mode.write(present->mode());
}

} // namespace larch
