#include "host/spectrumTrace.h"
#include <algorithm>
#include <cmath>

namespace larchhost {
namespace {

constexpr double belsToDecibels = 10.0;
constexpr double windowLoss_dB = 11.339; // coherent gain of the seven-term window, 0.27105

} // namespace

void spectrumTrace::add(std::span<const float> frame, double low, double high) {
  if (frame.size() != sum_.size() || low != low_ || high != high_) {
    sum_.assign(frame.size(), 0.0);
    frames_ = 0;
    low_ = low;
    high_ = high;
  }
  for (size_t i = 0; i < frame.size(); i++) sum_[i] += frame[i];
  frames_++;
  total_++;
}

std::vector<double> spectrumTrace::take() {
  std::vector<double> levels(sum_.size());
  for (size_t i = 0; i < levels.size(); i++) {
    const double mean = belsToDecibels * sum_[i] / std::max(frames_, 1);
    levels[i] = mean > noData_dBm ? mean + windowLoss_dB : noData_dBm;
  }
  std::fill(sum_.begin(), sum_.end(), 0.0);
  frames_ = 0;
  return levels;
}

std::vector<double> columnsOf(const std::vector<double>& levels, int columns) {
  std::vector<double> out(static_cast<size_t>(std::max(columns, 0)), noData_dBm);
  for (size_t c = 0; c < out.size() && !levels.empty(); c++) {
    const size_t from = c * levels.size() / out.size();
    const size_t to = std::max(from + 1, (c + 1) * levels.size() / out.size());
    out[c] = *std::max_element(levels.begin() + static_cast<ptrdiff_t>(from), levels.begin() + static_cast<ptrdiff_t>(to));
  }
  return out;
}

double quantile(std::vector<double> levels, double share) {
  std::erase_if(levels, [](double v) { return !(v > noData_dBm); });
  if (levels.empty()) return noData_dBm;
  const auto at = levels.begin() + static_cast<ptrdiff_t>(share * static_cast<double>(levels.size() - 1));
  std::nth_element(levels.begin(), at, levels.end());
  return *at;
}

std::vector<signalPeak> strongest(const std::vector<double>& levels, double low, double high, double above_dB, double apart,
                                  size_t most) {
  const double floor = quantile(levels, 0.5) + above_dB;
  const double step = (high - low) / static_cast<double>(std::max<size_t>(levels.size(), 1));
  std::vector<signalPeak> candidates;
  for (size_t i = 1; i + 1 < levels.size(); i++)
    if (levels[i] > floor && levels[i] >= levels[i - 1] && levels[i] > levels[i + 1])
      candidates.push_back({low + static_cast<double>(i) * step, levels[i]});
  std::sort(candidates.begin(), candidates.end(), [](auto& a, auto& b) { return a.level_dBm > b.level_dBm; });
  std::vector<signalPeak> peaks;
  for (const auto& c : candidates) {
    const bool near =
        std::any_of(peaks.begin(), peaks.end(), [&](auto& p) { return std::abs(p.frequency - c.frequency) < apart; });
    if (!near) peaks.push_back(c);
    if (peaks.size() == most) break;
  }
  return peaks;
}

} // namespace larchhost
