// A host that ends while everything runs: sets up what it is told, says "ready", and ends in the way that it is told.
//
//   larch-exit-child HOW LOG LOGMODE [RADIO]
//
// HOW: return, exit, thread (exit from a second thread while the first one polls), callback (exit inside a poll), quit (exit
// without ever having polled), wait (until a signal ends it). RADIO: address of a Protocol 1 radio, or of a Protocol 2 radio
// behind "2:", which then streams into a transceiver with sound devices; without one a transceiver runs by itself. With "link-"
// before HOW, and a radio, the mode is the TCP link, and a client of this process takes its samples until the end.
#include "tests/boundary/testHost.h"
#include "tests/link/linkClient.h"
#include <atomic>
#include <cstdio>
#include <cstring>

using namespace testHost;

namespace {

struct {
  Radio* radio = nullptr;
  vtrx* transceiver = nullptr;
  modDemod* mode = nullptr;
  Wireless* sound = nullptr;
  PskModDemod* scanner = nullptr;
  floatArray* lastFrame = nullptr;
} kept; // handles that nobody gives back
std::atomic<int> frames{0};
bool endInCallback = false;
bool linked = false;
std::atomic<int> linkFrames{0};

void keepFrame(floatArray* frame, double, double, int32_t) {
  floatArray_delete(kept.lastFrame);
  kept.lastFrame = frame;
  frames++;
}
void takeSamples(int32_t port) {
  std::thread([port] {
    larch::test::linkClient client(port);
    client.send(larch::test::beginAt(7'100'000));
    while (!client.message().empty()) linkFrames++;
  }).detach();
}
modDemod* makeMode() {
  if (!linked) return reinterpret_cast<modDemod*>(ssbModDemod_create());
  MultiPskModDemod* link = MultiPskModDemod_create();
  MultiPskModDemod_setport(link, 0);
  MultiPskModDemod_bindport(link, takeSamples);
  if (!settle(link)) std::exit(6); // the transceiver takes the port when it takes the mode
  return reinterpret_cast<modDemod*>(link);
}
void receive(vtrx* h) {
  kept.transceiver = h;
  vtrx_bindnewSpectrum(h, keepFrame);
  vtrx_bindaudioOutput(h, [](int32_t device) { std::printf("output %d\n", device); });
  vtrx_bindaudioInput(h, [](int32_t device) { std::printf("input %d\n", device); });
  vtrx_bindsignalStrength(h, [](double) {
    if (!endInCallback) return;
    std::puts("ready");
    std::exit(0);
  });
  vtrx_setModulation(h, kept.mode);
  vtrx_setRxFilter(h, 300, 2700);
  vtrx_setforegroundDisplay(h, true);
  modDemod_setrnnoise(kept.mode, true);
  vtrx_start(h);
}

void openRadio(const char* address) {
  if (std::strncmp(address, "2:", 2) == 0) {
    HpsdrNpRadio* radio = HpsdrNpRadio_create();
    HpsdrNpRadio_setipAddress(radio, address + 2);
    kept.radio = reinterpret_cast<Radio*>(radio);
  } else {
    HpsdrRadio* radio = HpsdrRadio_create();
    HpsdrRadio_setipAddress(radio, address);
    kept.radio = reinterpret_cast<Radio*>(radio);
  }
  Radio* radio = kept.radio;
  Radio_setSampleRate(radio, 192000);
  Radio_bindvtrxAdded(radio, [](vtrx* h, int32_t, int32_t) { receive(h); });
  Radio_addVtrx(radio, 7100000, 0);
  Radio_start(radio);
}

bool pollUntilRunning(bool withRadio) {
  return pollUntil([withRadio] {
    getRenderUpdates();
    return !withRadio || (frames > 3 && (!linked || linkFrames > 3));
  });
}

} // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  std::string how = argv[1];
  linked = how.starts_with("link-");
  if (linked) how.erase(0, 5);
  init(argv[2], std::atoi(argv[3]));
  kept.sound = Wireless_create();
  Wireless_Init(kept.sound);
  kept.scanner = PskModDemod_create();
  kept.mode = makeMode();
  const bool withRadio = argc > 4;
  if (withRadio) {
    openRadio(argv[4]);
  } else {
    vtrx* h = vtrx_create();
    vtrx_setaudioInput(h, 1); // the first real device, where there is one
    receive(h);
    if (!settle(h)) return 3;
  }
  if (how == "quit") {
    std::puts("ready");
    std::exit(0);
  }
  endInCallback = how == "callback" && withRadio;
  if (!pollUntilRunning(withRadio)) return 4;
  if (how == "callback") {
    if (withRadio) return pollUntil([] { return false; }) ? 0 : 5; // ends inside
    asyncObject_bindEcho(base(kept.scanner), [](int32_t) {
      std::puts("ready");
      std::exit(0);
    });
    asyncObject_Ping(base(kept.scanner), 1);
    return pollUntil([] { return false; }) ? 0 : 5;
  }
  asyncObject_release(asyncObject_create()); // an error line, and with it all lines are in the file
  while (contents(argv[2]).find("bad_function_call") == std::string::npos) getUpdates();
  std::puts("ready");
  std::fflush(stdout);
  if (how == "thread") {
    std::thread([] { std::exit(0); }).detach();
  }
  if (how == "thread" || how == "wait") {
    for (;;) {
      getUpdates();
      getRenderUpdates();
    }
  }
  if (how == "exit") std::exit(0);
  return 0;
}
