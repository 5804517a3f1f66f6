// A receiver whose memory and locks are counted: for one file of a program only.
#pragma once
#include "sim/bandScene.h"
#include "tests/boundary/steadyCounting.h"
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace {

vtrx* added = nullptr;
int frames = 0;

void keepVtrx(vtrx* handle, int32_t, int32_t) { added = handle; }
void countFrame(floatArray* frame, double, double, int32_t) {
  frames++;
  floatArray_delete(frame);
}

std::shared_ptr<larch::sim::bandScene> carrierScene() {
  auto scene = std::make_shared<larch::sim::bandScene>();
  scene->addCarrier(14'096'600, -60);
  return scene;
}

// Starts the radio at its simulated board, and its receiver in the foreground. One that runs shows more than `tooFewFrames` in a
// window.
template <typename simulatedRadio>
void expectSteadyReceiver(Radio* radio, simulatedRadio& board, const std::function<bool()>& streamWindow, double windowChunks,
                          int tooFewFrames) {
  Radio_bindvtrxAdded(radio, keepVtrx);
  Radio_start(radio);
  ASSERT_TRUE(testHost::pollUntil([&] {
    board.poll();
    return added && board.report().streaming;
  }));
  ssbModDemod* mode = testHost::watched(ssbModDemod_create());
  vtrx_bindnewSpectrum(testHost::watched(added), countFrame);
  vtrx_setModulation(added, reinterpret_cast<modDemod*>(mode));
  vtrx_setRxFilter(added, 200, 2800);
  vtrx_setforegroundDisplay(added, true);
  vtrx_start(added);
  ASSERT_TRUE(testHost::settle(added));

  expectCleanWindows(streamWindow, [] { frames = 0; });
  EXPECT_GT(frames, tooFewFrames) << "the receiver did run";
  printSmall("chunk", windowChunks);
  Radio_stop(radio);
  vtrx_release(added);
  ssbModDemod_release(mode);
}

} // namespace
