// A recording that a test sound card hears in place of its bus, over and over.
#pragma once
#include <string>
#include <vector>

namespace larchloop {

// Mono, at a rate of its own. WAV files of 16-bit or float samples, of which the first channel is taken; any other file is raw
// 16-bit mono at 48000 Hz.
struct soundFile {
  std::vector<float> samples;
  double rate = 48000; // Hz

  // Empty when the file can't be read or holds nothing.
  static soundFile read(const std::string& path);
  // `time` in seconds from 0 up, interpolated linearly; the end joins the beginning. Not for an empty file.
  float at(double time) const;
};

} // namespace larchloop
