// larch-sim: a simulated radio for people and demonstrations.
#include <csignal>
#include <cstdio>
#include <exception>
#include <set>
#include <string>
#include <system_error>
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include "sim/simPlay.h"
#include "sim/transmitEcho.h"

namespace {
using namespace larch::sim;

// of either protocol; the radio says which board speaks which
std::set<std::string> boardNames() {
  std::set<std::string> names;
  for (const boardProfile& b : boardProfiles()) names.emplace(b.name);
  for (const otherBoardProfile& b : otherBoardProfiles()) names.emplace(b.name);
  return names;
}

void addOptions(CLI::App& app, simSettings& s) {
  const auto probability = CLI::Range(0.0, 1.0);
  app.add_option("--bind", s.radio.bindAddress, "IPv4 address to listen on; 0.0.0.0 hears broadcasts")->capture_default_str();
  app.add_option("--port", s.radio.port, "UDP port, 0 for any free one")->capture_default_str();
  app.add_option("--protocol", s.protocol, "1, or 2: a radio that only receives")->check(CLI::Range(1, 2))->capture_default_str();
  app.add_option("--board", s.board, "board to imitate (hermeslite2; saturn with Protocol 2)")
      ->check(CLI::IsMember(boardNames()));
  app.add_option("--firmware", s.firmware, "firmware version (default: the board's)")->check(CLI::Range(0, 255));
  app.add_option("--receivers", s.radio.receivers, "hardware receivers, up to 8, or 16 with Protocol 2 (default: the board's)")
      ->check(CLI::Range(1, 16));
  app.add_option("--clock", s.radio.clock_Hz, "clock in Hz (default: the board's)")->check(CLI::Range(1e6, 1e9));
  app.add_option("--rate-error", s.radio.clockError_ppm, "error of the radio's clock in ppm")->check(CLI::Range(-1000.0, 1000.0));
  app.add_option("--scene", s.scene, "demo, carriers, none, or a scene file")->capture_default_str();
  app.add_option("--noise", s.noise_dBFS, "noise floor in dBFS in 1 Hz, instead of the scene's")->each([&s](const std::string&) {
    s.noiseGiven = true;
  });
  app.add_flag("--no-gain", s.gainOff, "levels don't follow the gain that the host sets");
  app.add_option("--wideband-scale", s.radio.widebandFullScale, "wideband sample at full scale (default: the board's)")
      ->check(CLI::Range(1, 32768));
  app.add_option("--loop", s.loop_s,
                 "repeat the first so many seconds of what each receiver hears: costs next to nothing (Protocol 2)")
      ->check(CLI::Range(0.001, 10.0));
  app.add_flag("--in-use", s.radio.inUse, "answer discovery as if another program had the radio");
  app.add_flag("--say-receivers", s.radio.sayReceiverCount, "frames tell their receiver count");
  app.add_option("--watchdog", s.radio.watchdog_s, "stop the stream after so many seconds without a word from the host, 0: never")
      ->capture_default_str();
  app.add_option("--lose", s.faults.lose, "share of datagrams to lose")->check(probability)->group("Faults");
  app.add_option("--repeat", s.faults.repeat, "share to send twice")->check(probability)->group("Faults");
  app.add_option("--reorder", s.faults.reorder, "share to swap with the next")->check(probability)->group("Faults");
  app.add_option("--cut", s.faults.cut, "share to shorten")->check(probability)->group("Faults");
  app.add_option("--corrupt", s.faults.corrupt, "share with one wrong byte")->check(probability)->group("Faults");
  app.add_option("--delay", s.faults.delay, "share to hold back")->check(probability)->group("Faults");
  app.add_option("--delay-by", s.faults.delayBy, "datagrams that overtake a delayed one")->capture_default_str()->group("Faults");
  app.add_option("--seed", s.faults.seed, "of the faults' random generator")->capture_default_str()->group("Faults");
  app.add_option("--silence", s.silence, "AFTER FOR: send nothing for FOR seconds, AFTER seconds from the start")
      ->expected(2)
      ->group("Faults");
  app.add_option("--tx-back", s.txBack_s, "put what the host transmits on the band, so many seconds later")
      ->check(CLI::Range(transmitEcho::shortestDelay_s, 600.0));
  app.add_option("--tx-back-level", s.txBackLevel_dBFS, "level of a full-scale transmission there, in dBFS")
      ->capture_default_str();
  app.add_option("--tx-zone", s.radio.transmitZone, "Nyquist zone that the transmitter's filters let through, 0 the first")
      ->check(CLI::Range(0, 15))
      ->capture_default_str();
  app.add_option("--record-tx", s.transmitFile, "write what the host transmits to this WAV file, up to 4 GiB");
  app.add_option("--seconds", s.seconds, "end after so many seconds");
  app.add_flag("--verbose", s.verbose, "print each register by name when it changes");
  app.add_flag("--quiet", s.quiet, "no status lines");
}

} // namespace

int main(int count, char** words) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  // before any thread, so that all inherit it and the signals wait for sigtimedwait
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGHUP);
  sigprocmask(SIG_BLOCK, &ends, nullptr);
  simSettings s;
  s.radio.watchdog_s = 10;
  CLI::App app("A simulated radio that plays a band on the local network");
  addOptions(app, s);
  CLI11_PARSE(app, count, words);
  try {
    return s.protocol == 2 ? playProtocol2(s, ends) : playProtocol1(s, ends);
  } catch (const std::system_error& e) {
    fmt::print(stderr, "larch-sim: can't bind {}\n", e.what());
  } catch (const std::exception& e) {
    fmt::print(stderr, "larch-sim: {}\n", e.what());
  }
  return 1;
}
