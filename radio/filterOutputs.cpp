#include "radio/filterOutputs.h"

namespace larch {
namespace {

// The place of the first row with maxfrequency at or above the frequency, or rows.size().
template <class Row> std::size_t placeOf(const std::vector<std::shared_ptr<Row>>& rows, int32_t frequency) {
  std::size_t place = 0;
  while (place < rows.size() && !(rows[place] && rows[place]->maxfrequency.get() >= frequency)) place++;
  return place;
}

} // namespace

int32_t flatFilterOutputs(const asyncCollection<J16>::list& rows, int32_t frequency, bool transmit) {
  const std::size_t place = placeOf(rows, frequency);
  if (place == rows.size()) return 0;
  return transmit ? rows[place]->tx.get() : rows[place]->rx.get();
}

int32_t transmitFilterOutputs(const J16Filter& filter, int32_t frequency) {
  const auto bands = filter.FilterBands.rows();
  if (!bands) return 0;
  const std::size_t place = placeOf(*bands, frequency);
  return place == bands->size() ? 0 : (*bands)[place]->tx.get();
}

int32_t receiveFilterOutputs(const J16Filter& filter, std::span<const hwReceiver> receivers) {
  constexpr std::size_t maskBits = 64; // a list of receive rows for a higher bit doesn't fit into memory
  const auto bands = filter.FilterBands.rows();
  const auto table = filter.FilterRx.rows();
  if (!table) return 0;
  uint64_t mask = 0;
  for (const hwReceiver& hw : receivers) {
    const std::size_t place = bands ? placeOf(*bands, hw.frequency) : 0;
    if (!bands || place == bands->size()) continue;
    if (place >= maskBits) return 0;
    mask |= uint64_t{1} << place;
  }
  if (mask >= table->size() || !(*table)[mask]) return 0;
  return (*table)[mask]->rx.get();
}

} // namespace larch
