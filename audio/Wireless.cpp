#include "audio/Wireless.h"
#include "audio/deviceLists.h"
#include "runtime/sothreadpool.h"
#include <algorithm>
#include <array>

namespace larch {
namespace {

constexpr std::array<double, Wireless::eqRows> defaultPoints{0, 64, 128, 300, 600, 1200, 2400, 4800, 24000}; // Hz

// Never destroyed: transmitting groups read it while the process ends.
snapshot<std::weak_ptr<Wireless>>& last() {
  static auto* made = new snapshot<std::weak_ptr<Wireless>>;
  return *made;
}

struct eqPoint {
  double frequency, gain;
};
using eqPoints = std::array<eqPoint, Wireless::eqRows>;

// Copies the nine points; false when there aren't nine.
bool readPoints(eqPoints& points) {
  const auto wireless = Wireless::current();
  const auto rows = wireless ? wireless->DefaultMicEQ.rows() : nullptr;
  if (!rows || rows->size() < points.size()) return false;
  for (size_t i = 0; i < points.size(); i++) {
    const auto& row = (*rows)[i];
    if (!row) return false;
    points[i] = {row->inp.get(), row->outp.get()}; // a point that changes meanwhile spoils this one curve
  }
  return true;
}

} // namespace

std::shared_ptr<Wireless> Wireless::create(const std::shared_ptr<syncTask>& group) {
  auto made = std::make_shared<Wireless>(group);
  last().publish(made);
  return made;
}

std::shared_ptr<Wireless> Wireless::current() { return last().load().lock(); }

Wireless::Wireless(const std::shared_ptr<syncTask>& group)
    : asyncObject(group ? std::make_shared<syncTask>(group->pool()) : nullptr) {
  const auto& inputs = larch::inputDevices().entries;
  for (size_t i = 0; i < inputs.size(); i++)
    inputDevices.append(keptByCore(std::make_shared<ValueLabelItem>(taskgroup, static_cast<int32_t>(i), inputs[i]->name)));
  for (const outputDevice& d : larch::outputDevices())
    outputDevices.append(keptByCore(std::make_shared<ValueLabelItem>(taskgroup, d.id, d.name)));
}

void Wireless::Init() {
  if (DefaultMicEQ.items.empty()) {
    for (const double frequency : defaultPoints) {
      auto row = keptByCore(std::make_shared<calibLine>(taskgroup));
      row->inp.write(frequency);
      row->outp.write(1.0);
      DefaultMicEQ.append(std::move(row));
    }
  }
  const size_t watched = std::min<size_t>(DefaultMicEQ.items.size(), eqRows);
  for (size_t i = 0; i < watched; i++)
    if (const auto& row = DefaultMicEQ.items[i]) watch(row);
}

void Wireless::watch(const std::shared_ptr<calibLine>& row) {
  // the host may keep a row for longer than us
  const auto count = [self = std::weak_ptr<asyncObject>(weak_from_this())] {
    if (const auto alive = self.lock()) static_cast<Wireless&>(*alive).micEqRevision.fetch_add(1, std::memory_order_relaxed);
  };
  const auto hang = [count](calibLine& r) { r.inp.observer = r.outp.observer = count; };
  if (row->taskgroup == taskgroup) return hang(*row);
  row->queueSeqProcess(seqTask([row, hang] { hang(*row); }, "Wireless.watch")); // a row of the host's has another group
}

int32_t micEqRevision() {
  const auto wireless = Wireless::current();
  return wireless ? wireless->micEqRevision.load(std::memory_order_relaxed) : -1;
}

void buildMicEq(buff<float>& out) {
  out = buff<float>(micEqBins, 1.0f);
  eqPoints points;
  if (!readPoints(points)) return;
  points[0].frequency = 0; // required: the first segment starts at 0 Hz whatever its point says
  size_t upper = 1;
  for (int32_t k = 0; k < micEqBins; k++) {
    const double f = k * micEqBinWidth;
    while (f > points[upper].frequency && upper < points.size() - 1) upper++;
    const eqPoint &a = points[upper - 1], &b = points[upper];
    out.data[k] = static_cast<float>((f - a.frequency) / (b.frequency - a.frequency) * (b.gain - a.gain) + a.gain);
  }
}

} // namespace larch
