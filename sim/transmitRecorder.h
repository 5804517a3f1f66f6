// Writes what a simulated radio was given to transmit to a WAV file while it comes.
#pragma once
#include <span>
#include <string>
#include "sim/transmitMonitor.h"
#include "sim/wavWriter.h"

namespace larch::sim {

// The file is that of transmitMonitor::writeIqWav. Every call may throw std::runtime_error: the file can't be written.
class transmitRecorder {
 public:
  transmitRecorder(const std::string& path, int zone) : file(path, transmitRate_Hz, 2), sign(zone % 2 == 0 ? -1 : 1) {}
  void add(std::span<const recordedSample> samples);
  void close() { file.close(); }

 private:
  wavWriter file;
  double sign; // of Q
};

} // namespace larch::sim
