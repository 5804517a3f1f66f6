// A radio whose hardware is records alone, on a pool whose turns the test takes itself.
#pragma once
#include "radio/Radio.h"
#include "tests/runtime/testGroup.h"
#include "transceiver/vtrx.h"

namespace larch {

class recordRadio : public Radio {
 public:
  using Radio::deliverChunk;
  using Radio::processRxChunk;
  using Radio::Radio;

  void frequenciesChanged() override { changes++; }
  void addHwReceiver(int32_t frequency) override {
    hwReceiver hw;
    hw.chunk = cbuff(chunkSamples);
    hw.frequency = frequency;
    hw.sampleRate = SampleRate.value;
    hwReceivers.push_back(hw);
  }
  void startRadio() override { starts++; }
  void stopRadio() override { stops++; }

  // `count` samples of value (`n`, 0), n counting on from the last call.
  void feed(uint64_t count, int32_t receiver) {
    processRxChunk(
        [this](cbuff view) {
          runs.push_back(view.count);
          for (uint64_t i = 0; i < view.count; i++) view.data[i] = {static_cast<double>(next++), 0};
        },
        count, receiver);
  }

  int changes = 0, starts = 0, stops = 0;
  int next = 0;
  std::vector<uint64_t> runs; // lengths that were unpacked
};

struct radioBench : testGroup {
  std::shared_ptr<recordRadio> radio = std::make_shared<recordRadio>(group);

  radioBench() {
    radio->Deleted = [](int32_t) {};
  }
  ~radioBench() {
    radio->transceivers.clear();
    turns();
    pool->getUpdates();
  }
  std::shared_ptr<vtrx> add(int32_t frequency, int32_t receiver = 0) {
    radio->addVtrx(frequency, receiver);
    radio->transceivers.back()->Deleted = [](int32_t) {};
    turns();
    return radio->transceivers.back();
  }
  // As the host sets a property; runs what follows from it.
  template <class T, class V> void set(const std::shared_ptr<vtrx>& transceiver, property<T> vtrx::*member, V value) {
    transceiver->queueSetItem(seqTask([=] { (transceiver.get()->*member).set(value); }, "test.set"));
    turns();
  }
  // The tasks that wait, each run once: one turn of the pool runs one task of a group.
  int countTurns() {
    int n = 0;
    while (pool->turn()) n++;
    return n;
  }
};

} // namespace larch
