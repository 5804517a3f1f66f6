#include "host/micEqualiser.h"
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace larchhost {
namespace {

constexpr std::chrono::milliseconds pollPause{2}, longestWait{5000};

// the library's callbacks carry no context
std::vector<calibLine*> rows;
std::vector<double> answers;

void ignoreEnd(int32_t) {}
void takeAnswer(double value) { answers.push_back(value); }

template <class F> void pollUntil(F done) {
  const auto end = std::chrono::steady_clock::now() + longestWait;
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) throw std::runtime_error("the library doesn't take the equaliser's points");
    getUpdates();
    std::this_thread::sleep_for(pollPause);
  }
}

// There is no echo of a set, but a bind tells the present value of what the library has written before: it is asked until it is
// the one that was set.
bool rowIs(calibLine* row, const std::pair<double, double>& point) {
  answers.clear();
  calibLine_bindinp(row, takeAnswer);
  calibLine_bindoutp(row, takeAnswer);
  getUpdates();
  return answers == std::vector{point.first, point.second};
}

} // namespace

micEqualiser::micEqualiser(const equaliserPoints& points) : wireless_(Wireless_create()) {
  asyncObject_bindDeleted(reinterpret_cast<asyncObject*>(wireless_), ignoreEnd);
  Wireless_bindDefaultMicEQ(wireless_, [](int32_t, int32_t, calibLine* row) { rows.push_back(row); });
  Wireless_Init(wireless_); // makes nine rows
  pollUntil([&] { return rows.size() == points.size(); });
  Wireless_bindDefaultMicEQ(wireless_, nullptr);
  for (size_t i = 0; i < points.size(); i++) {
    asyncObject_bindDeleted(reinterpret_cast<asyncObject*>(rows[i]), ignoreEnd);
    calibLine_setinp(rows[i], points[i].first);
    calibLine_setoutp(rows[i], points[i].second);
    pollUntil([&] { return rowIs(rows[i], points[i]); });
    calibLine_bindinp(rows[i], nullptr);
    calibLine_bindoutp(rows[i], nullptr);
    calibLine_release(rows[i]);
  }
  rows.clear();
}

micEqualiser::~micEqualiser() { Wireless_release(wireless_); }

} // namespace larchhost
