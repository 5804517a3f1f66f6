#include "modes/pskBank.h"
#include "modes/pskLanes.h"
#include <cmath>
#include <numbers>

namespace larch {
namespace {

constexpr double twoPi = 2 * std::numbers::pi;
constexpr int32_t wholeStride = 16;
constexpr double smallTurn = 0.02; // radians: up to here the series is exact to 1e-13

// Up to eight detectors of one speed.
class laneGroup {
 public:
  void add(CPSKDet* detector, pskText* text) {
    detectors_[size_] = detector;
    texts_[size_++] = text;
  }
  bool full() const { return size_ == pskLanes::count; }
  bool empty() const { return size_ == 0; }

  void run(const double* samples, int32_t count, cpuVariant variant) {
    const int32_t stride = detectors_[0]->stride();
    pskLanes lanes;
    for (size_t l = 0; l < size_; l++) begin(lanes, l);
    for (int32_t at = 0; at < count; at += stride) {
      double valid[wholeStride];
      for (int32_t n = 0; n < stride; n++) valid[n] = CPSKDet::validSample(samples[at + n]);
      runLanes(lanes, valid, stride, variant);
      for (size_t l = 0; l < size_; l++) track(lanes, l, stride);
    }
    for (size_t l = 0; l < size_; l++) end(lanes, l);
    size_ = 0;
  }

 private:
  template <int taps> static void gather(const iqRing<taps>& ring, pskLanes::row* rows, size_t l) {
    for (int p = 0; p < taps; p++) {
      const auto from = static_cast<size_t>((ring.index + 1 + p) % taps); // the newest first
      rows[p][0][l] = ring.i[from];
      rows[p][1][l] = ring.q[from];
    }
  }
  template <int taps> static void scatter(iqRing<taps>& ring, const pskLanes::row* rows, int index, size_t l) {
    for (size_t p = 0; p < taps; p++) {
      ring.i[p] = rows[p][0][l];
      ring.q[p] = rows[p][1][l];
    }
    ring.index = index;
  }

  void begin(pskLanes& lanes, size_t l) {
    CPSKDet& d = *detectors_[l];
    d.afc.beginBlock();
    gather(d.ring1, lanes.ring1, l);
    gather(d.ring2, lanes.ring2, l);
    gather(d.ring3, lanes.ring3, l);
    lanes.phasor[0][l] = std::cos(d.ncoPhase);
    lanes.phasor[1][l] = std::sin(d.ncoPhase);
    phase_[l] = d.ncoPhase;
    setIncrement(lanes, l, d.afc.increment());
    texts_[l]->count = 0;
  }

  void setIncrement(pskLanes& lanes, size_t l, double increment) {
    lanes.rotation[0][l] = std::cos(increment);
    lanes.rotation[1][l] = std::sin(increment);
    increment_[l] = increment;
  }

  // The AFC moves the frequency a little with every sample behind the decimation.
  void changeIncrement(pskLanes& lanes, size_t l, double increment) {
    const double x = increment - increment_[l];
    if (x == 0) return;
    if (!(std::abs(x) < smallTurn)) return setIncrement(lanes, l, increment);
    const double xx = x * x;
    const double c = 1 - xx * (1 / 2.0 - xx * (1 / 24.0)), s = x * (1 - xx * (1 / 6.0 - xx * (1 / 120.0)));
    const double re = lanes.rotation[0][l], im = lanes.rotation[1][l];
    lanes.rotation[0][l] = re * c - im * s;
    lanes.rotation[1][l] = re * s + im * c;
    increment_[l] = increment;
  }

  void track(pskLanes& lanes, size_t l, int32_t stride) {
    CPSKDet& d = *detectors_[l];
    d.freqFilterOut = {lanes.frequencyOut[0][l], lanes.frequencyOut[1][l]};
    d.bitFilterOut = {lanes.bitOut[0][l], lanes.bitOut[1][l]};
    const uint8_t character = d.processFiltered({lanes.decimated[0][l], lanes.decimated[1][l]});
    pskText& text = *texts_[l];
    if (character && text.count < CPSKDet::maxCharacters) text.characters[text.count++] = static_cast<char>(character);
    phase_[l] += stride * increment_[l];
    changeIncrement(lanes, l, d.afc.increment());
  }

  void end(const pskLanes& lanes, size_t l) {
    CPSKDet& d = *detectors_[l];
    scatter(d.ring1, lanes.ring1, lanes.index1, l);
    scatter(d.ring2, lanes.ring2, lanes.index2, l);
    scatter(d.ring3, lanes.ring3, lanes.index3, l);
    d.ncoPhase = std::fmod(phase_[l], twoPi);
    d.afc.endBlock();
  }

  size_t size_ = 0;
  CPSKDet* detectors_[pskLanes::count]{};
  pskText* texts_[pskLanes::count]{};
  double phase_[pskLanes::count]{}, increment_[pskLanes::count]{};
};

} // namespace

void processDetectors(std::span<CPSKDet* const> detectors, const double* samples, int32_t count, std::span<pskText> text,
                      cpuVariant variant) {
  for (const int32_t stride : {16, 8, 4}) {
    laneGroup group;
    for (size_t i = 0; i < detectors.size(); i++) {
      CPSKDet& d = *detectors[i];
      if (d.stride() != stride) continue;
      if (count <= 0 || count % wholeStride != 0 || d.sampleIndex != 0) {
        text[i].count = d.processBlock(samples, count, text[i].characters);
        continue;
      }
      group.add(&d, &text[i]);
      if (group.full()) group.run(samples, count, variant);
    }
    if (!group.empty()) group.run(samples, count, variant);
  }
}

} // namespace larch
