// A transceiver on a radio under test.
#pragma once
#include "radio/Radio.h"
#include "transceiver/vtrx.h"

namespace larch::test {

// Not started; its spectrum is thrown away.
inline std::shared_ptr<vtrx> addTransceiver(Radio& radio, int32_t vfo) {
  radio.addVtrx(vfo, 0);
  auto added = keptByCore(radio.transceivers.back());
  keptByCore(added->rxagc.value);
  keptByCore(added->txagc.value);
  added->newSpectrum = [](buff<float>* frame, double, double, int32_t) { delete frame; };
  return added;
}
// At full drive, with its mode, and started.
inline std::shared_ptr<vtrx> addTransmitter(Radio& radio, int32_t vfo, std::shared_ptr<modDemod> mode) {
  auto added = addTransceiver(radio, vfo);
  added->drive.set(255);
  if (mode) added->setModulation(keptByCore(std::move(mode)));
  added->start();
  return added;
}

} // namespace larch::test
