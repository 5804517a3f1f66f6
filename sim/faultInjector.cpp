#include "sim/faultInjector.h"

namespace larch::sim {

bool faultPlan::any() const {
  return lose > 0 || repeat > 0 || reorder > 0 || cut > 0 || corrupt > 0 || delay > 0 || !loseAt.empty() || !repeatAt.empty() ||
         !reorderAt.empty() || !cutAt.empty() || !corruptAt.empty() || !delayAt.empty();
}

void faultInjector::setPlan(faultPlan next) {
  plan = std::move(next);
  active = plan.any();
  random = randomSource(plan.seed);
}

void faultInjector::setSilent(bool on) {
  silent = on;
  if (on) held.clear();
}

bool faultInjector::hit(double probability, const std::set<uint32_t>& at, bool isIq, uint32_t sequence) {
  // one draw a fault whatever comes of it: each fault's pattern depends on the seed and its own probability alone
  const bool drawn = random.uniform() < probability;
  return drawn || (isIq && at.count(sequence) != 0);
}

void faultInjector::release(std::vector<outgoingDatagram>& out) {
  for (auto it = held.begin(); it != held.end();) {
    if (it->wait > 1) {
      --it->wait;
      ++it;
    } else {
      out.push_back(it->datagram);
      it = held.erase(it);
    }
  }
}

void faultInjector::pass(const outgoingDatagram& datagram, bool isIq, uint32_t sequence, std::vector<outgoingDatagram>& out) {
  if (silent) {
    ++counted.silenced;
    return;
  }
  if (!active && held.empty()) {
    out.push_back(datagram);
    return;
  }
  const bool lose = hit(plan.lose, plan.loseAt, isIq, sequence), repeat = hit(plan.repeat, plan.repeatAt, isIq, sequence);
  const bool reorder = hit(plan.reorder, plan.reorderAt, isIq, sequence), cut = hit(plan.cut, plan.cutAt, isIq, sequence);
  const bool corrupt = hit(plan.corrupt, plan.corruptAt, isIq, sequence), delay = hit(plan.delay, plan.delayAt, isIq, sequence);
  if (lose) {
    ++counted.lost;
    return release(out);
  }
  outgoingDatagram d = datagram;
  if (corrupt && d.length > 0) {
    const size_t at = plan.corruptByte >= 0 ? static_cast<size_t>(plan.corruptByte) % d.length : random.below(d.length);
    d.bytes[at] ^= static_cast<uint8_t>(1 + random.below(255));
    ++counted.corrupted;
  }
  if (cut) {
    d.length = plan.cutTo >= 0 ? std::min(static_cast<size_t>(plan.cutTo), d.length) : random.below(d.length);
    ++counted.cut;
  }
  if (reorder || delay) {
    ++(reorder ? counted.reordered : counted.delayed);
    release(out);
    held.push_back({d, reorder ? 1 : plan.delayBy});
    return;
  }
  out.push_back(d);
  if (repeat) {
    ++counted.repeated;
    out.push_back(d);
  }
  release(out);
}

} // namespace larch::sim
