// One hardware receiver, a digital down-converter that the radio really has.
#pragma once
#include "dsp/buff.h"
#include <cstdint>

namespace larch {

constexpr int32_t chunkRate = 48000;  // Hz: a chunk is 512 samples' time at this rate
constexpr int32_t chunkSamples = 512; // at chunkRate; also a new receiver's first chunk, whatever its rate
constexpr int32_t adcSlots = 4;       // ADCs that a transceiver can name
constexpr int32_t noReceiver = -1;    // in a transceiver's slot

// A record once made stays for the life of the radio.
struct hwReceiver {
  cbuff chunk;                   // the block being filled
  int32_t frequency = 0;         // centre, Hz, before TransceiverOffset
  int32_t sampleRate = 0;        // Hz
  uint32_t expectedSequence = 0; // Protocol 2
  uint64_t fillPosition = 0;     // samples already in chunk
  int32_t index = 0;             // Protocol 2: place in the list
  int32_t adc = 0;               // 0 to 3
};

// Samples of a full chunk: (sampleRate / 48000) * 512, none under 48000 Hz.
constexpr uint64_t chunkLength(int32_t sampleRate) {
  return sampleRate < chunkRate ? 0 : static_cast<uint64_t>(sampleRate / chunkRate) * static_cast<uint64_t>(chunkSamples);
}

} // namespace larch
