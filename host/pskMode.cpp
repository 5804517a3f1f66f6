#include "host/pskMode.h"
#include <algorithm>
#include <stdexcept>
#include <strings.h>
#include <utility>

namespace larchhost {
namespace {

modDemod* asMode(PskModDemod* handle) { return reinterpret_cast<modDemod*>(handle); }

} // namespace

std::optional<size_t> parsePskVariant(const std::string& name) {
  const auto at = std::find_if(pskVariants.begin(), pskVariants.end(),
                               [&](const pskVariant& v) { return strcasecmp(v.name, name.c_str()) == 0; });
  if (at == pskVariants.end()) return {};
  return static_cast<size_t>(at - pskVariants.begin());
}

pskMode* pskMode::only = nullptr;

pskMode::pskMode(size_t variant, int32_t frequency) : variant_(variant), frequency_(frequency) {
  if (only) throw std::logic_error("one PSK mode a process");
  only = this;
}

pskMode::~pskMode() {
  only = nullptr;
  releaseRows();
}

// The functions that are bound may be called once more when the mode has gone: what was on its way comes by the next poll.
modDemod* pskMode::create() {
  handle_ = PskModDemod_create();
  PskModDemod_binddets(handle_, [](int32_t action, int32_t, PskDetector* detector) {
    if (only && action == larch_append && detector) only->addRow(detector);
  });
  bindTexts();
  setVariant(variant_);
  follow(frequency_);
  return asMode(handle_);
}

void pskMode::bindTexts() {
  PskModDemod_bindnewChars(handle_, [](const char* text) {
    if (only) only->primary_ += text;
  });
  PskModDemod_bindsentChars(handle_, [](const char* text) {
    if (only && *text) only->sent_ += *text;
  });
  PskModDemod_bindprimaryDetector(handle_, [](int32_t detector) {
    if (only) only->band_.setPrimary(static_cast<size_t>(detector));
  });
  modDemod_bindrxFreq(asMode(handle_), [](int32_t frequency) {
    if (only) only->frequency_ = frequency;
  });
}

void pskMode::addRow(PskDetector* detector) {
  asyncObject_bindDeleted(reinterpret_cast<asyncObject*>(detector), [](int32_t) {});
  const size_t row = rows_++;
  bindRow(row, detector, std::make_index_sequence<pskBand::detectors>{});
  if (row >= scanners_.size()) return PskDetector_release(detector); // the mode keeps it
  scanners_[row] = detector;
  steer(row);
}

// The callbacks carry no context: each row has functions of its own.
template <size_t... n> void pskMode::bindRow(size_t row, PskDetector* detector, std::index_sequence<n...>) {
  static_cast<void>(((row == n && (bindDetector<n>(detector), true)) || ...));
}

template <size_t n> void pskMode::bindDetector(PskDetector* detector) {
  PskDetector_bindMode(detector, [](const char* mode) {
    if (only) only->band_.setMode(n, mode);
  });
  PskDetector_bindfreq(detector, [](int32_t frequency) {
    if (only) only->band_.setFrequency(n, frequency);
  });
  PskDetector_bindreset(detector, [](int32_t) {
    if (only) only->restarted(n);
  });
  PskDetector_bindnewChars(detector, [](const char* text) {
    if (only) only->heard(n, text);
  });
}

void pskMode::restarted(size_t detector) {
  band_.restart(detector);
  steer(detector);
}

void pskMode::heard(size_t detector, const char* text) {
  steer(detector);
  band_.add(detector, text, levelAt ? levelAt(band_.frequency(detector)) : 0, pskBand::clock::now());
}

// The channel is in use; another one is the next, perhaps.
void pskMode::steer(size_t detector) {
  steering_.used(detector, pskSteering::clock::now());
  for (size_t i = 0; i < scanners_.size(); i++) {
    const int32_t activity = steering_.activity(i);
    if (scanners_[i] && std::exchange(activity_[i], activity) != activity) PskDetector_setactivity(scanners_[i], activity);
  }
}

void pskMode::releaseRows() {
  for (PskDetector*& row : scanners_)
    if (row) PskDetector_release(std::exchange(row, nullptr));
}

void pskMode::detach(modDemod*) {
  handle_ = nullptr;
  releaseRows();
}

std::string pskMode::name(sideband) const { return pskVariants[variant_].name; }

void pskMode::setVariant(size_t variant) {
  variant_ = variant;
  if (handle_) PskModDemod_setmode(handle_, pskVariants[variant].value);
}

void pskMode::follow(int32_t frequency) {
  frequency_ = frequency;
  if (handle_) modDemod_setrxFreq(asMode(handle_), frequency);
}

void pskMode::queue(const std::string& text, uint32_t base) {
  if (handle_) PskModDemod_QueueText(handle_, text.c_str(), base);
}

std::string pskMode::takePrimary() { return std::exchange(primary_, {}); }

} // namespace larchhost
