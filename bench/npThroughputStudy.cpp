// What a Protocol 2 radio costs the core: npThroughputStudy [receivers] [rate] [seconds] [spectrum 0 or 1] [receive buffer,
// bytes]. A child process sends noise over the loopback at the radio's pace; this process is the core alone, one single-sideband
// transceiver on each receiver. CPU is this process's own, user and system, over seconds of signal.
#include "modes/ssbModDemod.h"
#include "platform/clock.h"
#include "radio/HpsdrNpRadio.h"
#include "runtime/sothreadpool.h"
#include "tests/support/npSender.h"
#include "transceiver/vtrx.h"
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <map>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

using namespace larch;

namespace {

class measuredRadio : public HpsdrNpRadio {
 public:
  using HpsdrNpRadio::handledPackets;
  using HpsdrNpRadio::HpsdrNpRadio;
  using HpsdrNpRadio::sequenceBreaks;
  using HpsdrNpRadio::transport;
};

double seconds(const timeval& t) { return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec); }
struct cpuTime {
  double user, system;
};
cpuTime cpu() {
  rusage u;
  getrusage(RUSAGE_SELF, &u);
  return {seconds(u.ru_utime), seconds(u.ru_stime)};
}
// Nanoseconds on a processor, by thread.
std::map<int, double> threadTimes() {
  std::map<int, double> times;
  DIR* folder = opendir("/proc/self/task");
  while (const dirent* entry = readdir(folder)) {
    const int id = std::atoi(entry->d_name);
    if (id == 0) continue;
    double on = 0;
    std::ifstream(std::string("/proc/self/task/") + entry->d_name + "/schedstat") >> on;
    times[id] = on;
  }
  closedir(folder);
  return times;
}

int64_t frames = 0;

void poll(sothreadpool& pool, double time_s) {
  const int64_t end = monotonicNow_ns() + static_cast<int64_t>(time_s * 1e9);
  while (monotonicNow_ns() < end) {
    pool.getUpdates();
    pool.getRenderUpdates();
    sleepFor_ns(5'000'000);
  }
}

pid_t startSender(const test::npSender::plan& plan) {
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NAME, "sender");
  test::npSender sender(plan);
  const std::atomic<bool> never{false};
  if (sender.bound()) sender.run(never);
  _exit(1);
}

} // namespace

int main(int argc, char** argv) {
  const auto number = [&](int i, double otherwise) { return argc > i ? std::atof(argv[i]) : otherwise; };
  const int receivers = static_cast<int>(number(1, 16));
  const auto rate = static_cast<int32_t>(number(2, 1536000));
  const double time_s = number(3, 5);
  const bool spectrum = number(4, 1) != 0;
  test::npSender::plan plan;
  plan.receivers = receivers;
  plan.rate = rate;
  plan.widebandRate = 40;
  const pid_t child = startSender(plan);

  auto* pool = new sothreadpool;
  auto radio = keptByCore(std::make_shared<measuredRadio>(std::make_shared<syncTask>(pool)));
  std::vector<std::shared_ptr<ssbModDemod>> modes;
  radio->queueSeqProcess(seqTask(
      [&] {
        radio->ipAddress.set("127.1.2.3");
        radio->maxHwReceivers.set(receivers);
        radio->disableVirtualReceivers.set(true);
        radio->SampleRate.set(rate);
        for (int i = 0; i < receivers; i++) {
          radio->addVtrx(14'000'000 + i * 500'000, 0);
          const auto transceiver = keptByCore(radio->transceivers.back());
          modes.push_back(keptByCore(std::make_shared<ssbModDemod>(radio->taskgroup)));
          transceiver->audioOutput.set(-1);
          transceiver->setModulation(modes.back());
          transceiver->setRxFilter(200, 2900);
          transceiver->foregroundDisplay.set(spectrum);
          transceiver->newSpectrum = [](buff<float>* frame, double, double, int32_t) {
            delete frame;
            frames++;
          };
          transceiver->start();
        }
      },
      "set up"));
  poll(*pool, 0.5);
  radio->queueSeqProcess(seqTask([&] { radio->start(); }, "Radio.start()"));
  poll(*pool, 1.5);
  const uint64_t handledBefore = radio->handledPackets, breaksBefore = radio->sequenceBreaks;
  const int64_t framesBefore = frames;
  const auto threadsBefore = threadTimes();
  const cpuTime before = cpu();
  const int64_t begin = monotonicNow_ns();
  poll(*pool, time_s);
  const double passed = static_cast<double>(monotonicNow_ns() - begin) / 1e9;
  const cpuTime after = cpu();
  const auto threadsAfter = threadTimes();
  const auto handled = static_cast<double>(radio->handledPackets - handledBefore);
  const double signal_s = handled * 238 / rate / receivers;
  std::printf("%d receivers at %d Hz, spectrum %s: %.2f s, %.2f s of signal, %.0f datagrams/s\n", receivers, rate,
              spectrum ? "on" : "off", passed, signal_s, handled / passed);
  std::printf("CPU a second of signal: %.4f s = user %.4f + system %.4f\n",
              (after.user + after.system - before.user - before.system) / signal_s, (after.user - before.user) / signal_s,
              (after.system - before.system) / signal_s);
  std::printf("sequence breaks %llu, most slots out %d of %d, receive buffer granted %d, spectrum frames %lld\n",
              static_cast<unsigned long long>(radio->sequenceBreaks - breaksBefore), radio->transport->highWater(),
              radio->transport->receiveSlots(), radio->transport->grantedReceiveBuffer(),
              static_cast<long long>(frames - framesBefore));
  for (const auto& [id, on] : threadsAfter)
    if (threadsBefore.count(id) && on - threadsBefore.at(id) > 1e6)
      std::printf("  thread %d: %.4f s a second of signal\n", id, (on - threadsBefore.at(id)) / 1e9 / signal_s);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  std::fflush(stdout);
  _exit(0);
}
