#include "radio/protocol1Frames.h"
#include <cmath>

namespace larch::protocol1 {
namespace {

constexpr uint8_t sync = 0x7f;
constexpr double fullScale = 32766.0;
constexpr double fullScaleSquared = 1073610756.0;
constexpr uint32_t rampSteps = 4096, rampStep = 16;
constexpr int keyDown = 3;
constexpr double longestInteger = 9.0e18;

void put16(uint8_t* to, int value) {
  to[0] = static_cast<uint8_t>(value >> 8);
  to[1] = static_cast<uint8_t>(value);
}
// Half away from zero; within full scale by then, or not a number.
int rounded(double value) { return std::isfinite(value) ? static_cast<int>(std::round(value)) : 0; }

bool isKeyed(double real) {
  if (!(std::fabs(real) < longestInteger)) return false;
  return (static_cast<int64_t>(real) & 0xff) != 0;
}

} // namespace

datagramHead readHead(const uint8_t* d) {
  return {d[2] == 1, d[3], uint32_t{d[4]} << 24 | uint32_t{d[5]} << 16 | uint32_t{d[6]} << 8 | d[7]};
}

int receiversIn(const uint8_t* frame, int asked) {
  const int claimed = frame[2];
  return claimed != sync && claimed < asked ? claimed + 1 : asked;
}

frameStatus readStatus(const uint8_t* frame) {
  static constexpr int inputs[4][2] = {{-1, -1}, {4, 0}, {1, 2}, {3, 5}};
  const uint8_t* c = frame + 3; // C0 to C4
  frameStatus s;
  if (c[0] & 0x80) return s;
  s.present = true;
  s.ptt = c[0] & 1;
  s.key = c[0] & 4;
  const int kind = c[0] >> 3;
  s.hasOverload = kind == 0;
  s.overload = c[1] & 1;
  if (kind > 3) return s;
  for (int i = 0; i < 2; i++) {
    s.ainIndex[i] = inputs[kind][i];
    s.ainWord[i] = c[1 + 2 * i] * 256 + c[2 + 2 * i];
  }
  return s;
}

void writeHead(uint8_t* d, uint32_t sequence) {
  d[0] = 0xef;
  d[1] = 0xfe;
  d[2] = 1;
  d[3] = hostEndpoint;
  for (int i = 0; i < 4; i++) d[4 + i] = static_cast<uint8_t>(sequence >> (24 - 8 * i));
}

void writeControl(uint8_t* d, uint8_t streams) {
  d[0] = 0xef;
  d[1] = 0xfe;
  d[2] = 4;
  d[3] = streams;
}

void writeRegister(uint8_t* frame, uint8_t c0, const registerBytes& bytes) {
  frame[0] = frame[1] = frame[2] = sync;
  frame[3] = c0;
  for (std::size_t i = 0; i < bytes.size(); i++) frame[4 + i] = bytes[i];
}

void writeTransmitSamples(uint8_t* to, const std::complex<double>* samples, int count, const transmitForm& form,
                          uint32_t& rampPosition) {
  constexpr int bytes = 8;
  const double scale = form.multiplier * fullScale;
  for (int n = 0; n < count; n++, to += bytes) {
    put16(to, form.ramp ? static_cast<int>(rampPosition) : 0);
    put16(to + 2, form.ramp ? static_cast<int>(rampPosition * rampStep) : 0);
    if (form.ramp) rampPosition = (rampPosition + 1) % rampSteps; // required: the board with this ramp expects it
    if (form.keyLine) {
      put16(to + 4, isKeyed(samples[n].real()) ? keyDown : 0);
      put16(to + 6, 0);
      continue;
    }
    double re = samples[n].real() * scale, im = samples[n].imag() * scale;
    const double square = re * re + im * im;
    if (square >= fullScaleSquared) {
      const double magnitude = std::sqrt(square);
      im = im * fullScale / magnitude;
      re = re * fullScale / magnitude;
    }
    re = -re;
    put16(to + 4, rounded(form.mirrored ? re : im));
    put16(to + 6, rounded(form.mirrored ? im : re));
  }
}

} // namespace larch::protocol1
