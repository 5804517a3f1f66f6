// What a radio's analogue inputs tell: powers, standing-wave ratio, temperature, current.
#pragma once
#include "radio/powerCalibration.h"

namespace larch {

// The six analogue inputs, each smoothed at every reception; they start at 0 and rise slowly.
class analogueInputs {
 public:
  static constexpr int count = 6;
  void add(int index, int word) { value_[index] = 0.1 * word + 0.9 * value_[index]; } // rt
  double operator[](int index) const { return value_[index]; }

 private:
  double value_[count] = {};
};

struct powerReading {
  float forward = 0, reverse = 0; // watts by the calibration
  float swr = 0;
};
powerReading readPower(const analogueInputs& ain, const asyncCollection<calibLine>::list& calibration); // rt
double readTemperature(const analogueInputs& ain);                                                      // rt; degrees Celsius
double readCurrent(const analogueInputs& ain);                                                          // rt; of the final stage

} // namespace larch
