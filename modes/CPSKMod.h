// Modulates PSK: characters to complex samples at 48 kHz.
#pragma once
#include <array>
#include <complex>
#include <cstdint>

namespace larch {

// A symbol is a pair of shapes, one for each axis, on a carrier; which ones follows from the symbol and the phase before it. One
// thread at a time.
class CPSKMod {
 public:
  // What a fetch answers instead of a character: idle reversals, steady carrier, carrier off.
  static constexpr int32_t idle = -3, carrier = -2, off = -1;
  using fetchFunction = int32_t (*)(void* context);

  CPSKMod(fetchFunction fetch, void* context); // BPSK at 31.25 baud and 1500 Hz
  virtual ~CPSKMod() = default;

  // The bits of a mode: low three 0 BPSK, 1 QPSK, 2 QPSK reversed; 8 and 16 the speed. Begins with a preamble of 32 fetches. rt.
  void setMode(int32_t mode);
  void setFrequency(int32_t hertz);                         // any value is endured
  void modulate(std::complex<double>* out, uint64_t count); // magnitude up to amplitude * sqrt(2); rt

  int32_t mode() const { return mode_; }
  int32_t frequency() const { return static_cast<int32_t>(frequency_); }

 private:
  static constexpr int32_t shapeLength = 1537; // samples of the slowest symbol, and one for rounding
  enum shape : uint8_t { ZERO, ONE, MINUS_ONE, COS, MINUS_COS, FALL_PLUS, FALL_MINUS, RISE, shapes };
  enum symbolCode : uint8_t { keepPhase, quarterTurn, reversal, threeQuarterTurn, switchOff, carrierOn, symbols };
  enum phaseState : uint8_t { plusPlus, minusPlus, minusMinus, plusMinus, silent, states };
  struct transition {
    shape i, q;
    phaseState next;
  };
  static const transition transitions[symbols][states];

  void buildShapes(int32_t symbolSamples);
  void nextSymbol();
  symbolCode bpskSymbol();
  symbolCode qpskSymbol();
  int32_t fetchCharacter();

  int32_t mode_ = 0;
  double sampleRate_ = 48000.0, frequency_ = 1500.0, amplitude_ = 0.707;
  double carrierPhase_ = 0, phaseIncrement_ = 0;                 // radians
  double symbolClock_ = 0, symbolPeriod_ = 0, samplePeriod_ = 0; // s
  int32_t shapeIndex_ = 0;
  uint16_t shiftRegister_ = 0;  // BPSK: the code that goes out; QPSK: the encoder
  uint16_t shiftRegister2_ = 0; // QPSK: the code that goes out
  bool needZero_ = false;       // a code has gone out, its first zero has not
  phaseState state_ = silent;
  int32_t preambleLeft_ = 0; // fetches
  const double *iShape_ = nullptr, *qShape_ = nullptr;
  std::array<std::array<double, shapeLength>, shapes> tables_{};
  fetchFunction fetch_;
  void* context_;
};

} // namespace larch
