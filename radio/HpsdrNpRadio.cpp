#include "radio/HpsdrNpRadio.h"

namespace larch {
namespace {

struct rateRow {
  int32_t rate; // Hz
  const char* label;
};
constexpr rateRow rates[] = {{48000, "48k"},   {96000, "96k"},   {192000, "192k"},
                             {384000, "384k"}, {768000, "768k"}, {1536000, "1536k"}};
constexpr int32_t firstFrequency = 1000000; // Hz

} // namespace

HpsdrNpRadio::HpsdrNpRadio(const std::shared_ptr<syncTask>& group) : Radio(group) {
  for (const rateRow& r : rates) SampleRates.append(keptByCore(std::make_shared<ValueLabelItem>(taskgroup, r.rate, r.label)));
  wideband = buff<double>(widebandSamples);
  widebandFill = buff<double>(widebandSamples);
  addHwReceiver(firstFrequency);
  SampleRate.observer = [this] {
    for (hwReceiver& hw : hwReceivers) hw.sampleRate = SampleRate.value;
  };
}

void HpsdrNpRadio::addHwReceiver(int32_t frequency) {
  hwReceiver hw;
  hw.chunk = cbuff(static_cast<uint64_t>(chunkSamples));
  hw.frequency = frequency;
  hw.sampleRate = SampleRate.value;
  hw.index = static_cast<int32_t>(hwReceivers.size());
  hwReceivers.push_back(std::move(hw));
}

} // namespace larch
