#include "radio/HpsdrRadio.h"
#include "platform/clock.h"
#include "platform/threadClass.h"
#include "runtime/log.h"
#include <thread>

namespace larch {
namespace {

constexpr int32_t firstFrequency = 14095600; // Hz
constexpr uint64_t transmitBlock = 2 * protocol1::transmitSamples;
constexpr int64_t slotsAReceiver = 128;
constexpr int notConnected = -6;

constexpr int64_t millisecond_ns = 1'000'000;
constexpr int64_t threadStartPause_ns = 100 * millisecond_ns;
constexpr int64_t startPause_ns = 20 * millisecond_ns;
constexpr int64_t stopPause_ns = 20 * millisecond_ns;
constexpr uint8_t bothStreams = 3;
constexpr uint8_t bias0Location = 0x00, bias1Location = 0x10;

void addChoice(asyncCollection<ValueLabelItem>& list, const std::shared_ptr<syncTask>& group, int32_t value, const char* label) {
  list.append(keptByCore(std::make_shared<ValueLabelItem>(group, value, label)));
}

} // namespace

HpsdrRadio::HpsdrRadio(const std::shared_ptr<syncTask>& group) : Radio(group), silence(transmitBlock, 0.0) {
  addChoice(SampleRates, taskgroup, 48000, "48k");
  addChoice(SampleRates, taskgroup, 96000, "96k");
  addChoice(SampleRates, taskgroup, 192000, "192k");
  addChoice(SampleRates, taskgroup, 384000, "384k");
  addChoice(rfAgcModes, taskgroup, 0, "off");
  addChoice(rfAgcModes, taskgroup, 2, "max");
  wideband = buff<double>(widebandSamples, 0.0);
  widebandFill = buff<double>(widebandSamples, 0.0);
  hwReceivers.push_back({cbuff(chunkSamples), firstFrequency, chunkRate, 0, 0, 0, 0});

  txGain.observer = rxGain.observer = [this] { computeGain(); };
  ptt.observer = [this] {
    gainLag = 0;
    computeGain();
  };
  SampleRate.observer = [this] { sampleRateChanged(); };
  paBias0.observer = [this] { biasChanged(paBias0.value, bias0Location); };
  paBias1.observer = [this] { biasChanged(paBias1.value, bias1Location); };
  paExtBias0.observer = [this] { externalBiasChanged(); };
  canTransmit.write(true);
  FilterSet.write(keptByCore(std::make_shared<J16Filter>(taskgroup)));
}

void HpsdrRadio::sampleRateChanged() {
  for (hwReceiver& hw : hwReceivers) hw.sampleRate = SampleRate.value;
  setDequeueLimit();
  clock.restart();
}

void HpsdrRadio::setDequeueLimit() {
  const int64_t limit = static_cast<int64_t>(hwReceivers.size()) * SampleRate.value / chunkRate;
  dequeueLimit.store(static_cast<int32_t>(limit), std::memory_order_relaxed);
}

void HpsdrRadio::addHwReceiver(int32_t frequency) {
  const bool restart = stopToAddReceiver.value && running.load(std::memory_order_relaxed);
  if (restart) {
    stopRadio();
    sleepFor_ns(stopPause_ns);
  }
  hwReceivers.push_back({cbuff(chunkSamples), frequency, SampleRate.value, 0, 0, 0, 0});
  if (restart) {
    startRadio();
    clock.restart();
  } else
    registerIndex = 0;
  setDequeueLimit();
}

void HpsdrRadio::makeDefaultRows() {
  static constexpr int32_t bands[] = {2498270,  4282749,  5995849,  8565498,  11991698,
                                      16655136, 18737028, 23060958, 27253859, 42827494}; // Hz
  static constexpr double powers[][2] = {{0, 0},
                                         {25.86539, 0.002550254},
                                         {101.0245, 0.01275204},
                                         {265.2901, 0.05060093},
                                         {647.9156, 0.2164583},
                                         {1196.594, 0.6654805},
                                         {1603.703, 1.155723},
                                         {2012.327, 1.811892},
                                         {2616.773, 3.008585},
                                         {3173.818, 4.392743},
                                         {3382.792, 4.979133},
                                         {3721.072, 6.024751},
                                         {4093.178, 7.289949},
                                         {4502.497, 8.820838},
                                         {4952.746, 10.67321}};
  if (J16Set.items.empty())
    for (const int32_t band : bands) {
      auto row = keptByCore(std::make_shared<J16>(taskgroup));
      row->maxfrequency.write(band);
      row->rx.write(0);
      row->tx.write(0);
      J16Set.append(std::move(row));
    }
  if (FwdPwrCalibration.items.empty())
    for (const auto& [inp, outp] : powers) {
      auto row = keptByCore(std::make_shared<calibLine>(taskgroup));
      row->inp.write(inp);
      row->outp.write(outp);
      FwdPwrCalibration.append(std::move(row));
    }
}

void HpsdrRadio::initialise() {
  makeDefaultRows();
  radioAddress = parseIpv4(ipAddress.value.c_str());
  if (transceivers.empty()) addVtrx(firstFrequency, 0);
  widebandNyquist = clockFrequency.value / 2;
  drives = makeDriveTable(HLite2Gain.value);
}

void HpsdrRadio::startRadio() {
  computeGain();
  if (!threadStarted) {
    initialise();
    connected = transport.create(radioAddress, slotsAReceiver * maxHwReceivers.value) != notConnected;
    running.store(false, std::memory_order_relaxed);
    startReceiveThread();
  }
  if (!connected) {
    const int error = transport.connectRadio();
    if (error) logError("RIO connect {}", error);
    connected = error == 0;
  }
  txSequence = 0;
  sendRegistersAhead();
  rxSequence = 0;
  const int slot = transport.allocateSend(protocol1::controlBytes);
  if (slot < 0) {
    logError("***no tx buffers****");
    return;
  }
  sleepFor_ns(startPause_ns);
  protocol1::writeControl(transport.sendDataArea(slot), bothStreams);
  sendRing.emplace(slot);
  registerIndex = 0;
  running.store(true, std::memory_order_relaxed);
}

// Before the stream starts the radio gets registers 0 to 9 twice, with its sample rate and receiver count.
void HpsdrRadio::sendRegistersAhead() {
  constexpr int rounds = 2, datagrams = 5;
  for (int round = 0; round < rounds; round++) {
    registerIndex = 0;
    for (int i = 0; i < datagrams; i++) {
      sendcommandcontrol(silence);
      sleepFor_ns(millisecond_ns);
    }
  }
}

void HpsdrRadio::stopRadio() {
  const int slot = transport.allocateSend(protocol1::controlBytes);
  if (slot < 0) {
    logError("HpsdrRadio::stopRadio no tx buffers {}", slot);
    return;
  }
  protocol1::writeControl(transport.sendDataArea(slot), 0);
  sendRing.emplace(slot);
  running.store(false, std::memory_order_relaxed);
}

void HpsdrRadio::startReceiveThread() {
  arrival.assign(static_cast<std::size_t>(transport.receiveSlots()), 0);
  auto self = std::static_pointer_cast<HpsdrRadio>(shared_from_this());
  std::thread([self = std::move(self)] { self->rxCommsLoopRIO(); }).detach();
  threadStarted = true;
  sleepFor_ns(threadStartPause_ns);
}

void HpsdrRadio::rxCommsLoopRIO() {
  if (const int error = raiseThread(workerPriority)) logError("sothreadPool::worker() setmm priority failed {}", error);
  for (;;) {
    try {
      rxTurn();
    } catch (const std::exception& e) {
      logError("rxCommsLoopRIOx {}", e.what());
    } catch (...) {
      logError("rxCommsLoopRIO ??");
    }
  }
}

// One turn: at most one datagram comes and one goes.
void HpsdrRadio::rxTurn() {
  const auto guarded = [](const char* words, auto step) {
    try {
      step();
    } catch (...) {
      logError("{}", words);
    }
  };
  int slot = -1;
  guarded("rxCommsLoopRIO rx", [&] { slot = transport.waitReceive(dequeueLimit.load(std::memory_order_relaxed)); });
  const int64_t time = utcNow_ns() / tick_ns;
  guarded("rxCommsLoopRIO release rx ", [&] {
    for (; const int32_t* done = releaseRing.front(); releaseRing.pop()) transport.releaseReceive(*done);
  });
  guarded("rxCommsLoopRIO send", [&] {
    const int32_t* due = sendRing.front();
    if (!due) return;
    const int32_t index = *due;
    transport.sendData(index);
    sendRing.pop(); // the slot's writer sees it free only after it has left
    sentCounter.fetch_add(1, std::memory_order_relaxed);
  });
  if (slot < 0) return;
  receivedCounter.fetch_add(1, std::memory_order_relaxed);
  if (!running.load(std::memory_order_relaxed)) {
    transport.releaseReceive(slot);
    return;
  }
  arrival[static_cast<std::size_t>(slot)] = time;
  const auto handler = [this, slot] { handleRxPacketRIO(slot); }; // this thread keeps the object
  using closure = std::remove_const_t<decltype(handler)>;
  static_assert(sizeof(closure) <= 2 * sizeof(void*) && std::is_trivially_copyable_v<closure>, "std::function would allocate");
  queueSeqProcess(seqTask(handler, "handleRxPacketRIO"));
}

} // namespace larch
