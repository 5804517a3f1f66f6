// larch-sim: a simulated radio for people and demonstrations.
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include "sim/protocol1Radio.h"
#include "sim/sceneReader.h"
#include "sim/transmitRecorder.h"

namespace {
using namespace larch::sim;

struct settings {
  radioOptions radio;
  std::string board = defaultBoard().name;
  int firmware = -1; // the board's
  boardProfile profile = defaultBoard();
  std::string scene = "demo";
  double noise_dBFS = 0;
  bool noiseGiven = false, gainOff = false, verbose = false, quiet = false;
  faultPlan faults;
  std::vector<double> silence; // after, for
  double seconds = 0;
  std::string transmitFile;
  double txBack_s = 0; // 0: nothing comes back
  double txBackLevel_dBFS = -40;
};

void addOptions(CLI::App& app, settings& s) {
  std::vector<std::string> names;
  for (const boardProfile& b : boardProfiles()) names.emplace_back(b.name);
  const auto probability = CLI::Range(0.0, 1.0);
  app.add_option("--bind", s.radio.bindAddress, "IPv4 address to listen on; 0.0.0.0 hears broadcasts")->capture_default_str();
  app.add_option("--port", s.radio.port, "UDP port, 0 for any free one")->capture_default_str();
  app.add_option("--board", s.board, "board to imitate")->check(CLI::IsMember(names))->capture_default_str();
  app.add_option("--firmware", s.firmware, "firmware version (default: the board's)")->check(CLI::Range(0, 255));
  app.add_option("--receivers", s.radio.receivers, "hardware receivers (default: the board's)")->check(CLI::Range(1, 8));
  app.add_option("--clock", s.radio.clock_Hz, "clock in Hz (default: the board's)")->check(CLI::Range(1e6, 1e9));
  app.add_option("--rate-error", s.radio.clockError_ppm, "error of the radio's clock in ppm")->check(CLI::Range(-1000.0, 1000.0));
  app.add_option("--scene", s.scene, "demo, carriers, none, or a scene file")->capture_default_str();
  app.add_option("--noise", s.noise_dBFS, "noise floor in dBFS in 1 Hz, instead of the scene's")->each([&s](const std::string&) {
    s.noiseGiven = true;
  });
  app.add_flag("--no-gain", s.gainOff, "levels don't follow the gain that the host sets");
  app.add_option("--wideband-scale", s.radio.widebandFullScale, "wideband sample at full scale (default: the board's)")
      ->check(CLI::Range(1, 32768));
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

void printStatus(double now_s, const radioReport& r, const radioReport& before, const std::optional<transmission>& sending) {
  if (!r.streaming) {
    fmt::print("{:.0f} s  idle  discoveries {}  problems {}\n", now_s, r.discoveries, r.problems);
    return;
  }
  fmt::print("{:.0f} s  to {}  {} Hz x {}  gain {:g} dB  iq {}/s  wideband {}/s  host {}/s  {}{}problems {}\n", now_s,
             r.peer.text(), r.settings.sampleRate_Hz, r.receiversInFrames, r.gain_dB, r.iqSent - before.iqSent,
             r.widebandSent - before.widebandSent, r.dataReceived - before.dataReceived,
             sending ? fmt::format("MOX {:.0f} Hz {}  ", sending->last.frequency_Hz, describeReading(sending->reading)) : "",
             r.clippedSamples != before.clippedSamples ? "OVERLOAD  " : "", r.problems);
}

double monotonic_s() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// --record-tx: written some 20 times a second by this thread, so that a slow disk doesn't hold up the radio.
class transmitFile {
 public:
  void begin(protocol1Radio& radio, const settings& s) {
    if (s.transmitFile.empty()) return;
    file.emplace(s.transmitFile, s.radio.transmitZone);
    radio.recordTransmit(true);
  }
  void take(protocol1Radio& radio) {
    carry(radio, [&] { file->add(radio.takeTransmitted()); });
  }
  // False: the file doesn't hold everything.
  bool end(protocol1Radio& radio) {
    take(radio);
    carry(radio, [this] { file->close(); });
    return whole;
  }

 private:
  template <typename action> void carry(protocol1Radio& radio, action&& act) {
    if (!file) return;
    try {
      act();
    } catch (const std::runtime_error& e) {
      fmt::print(stderr, "larch-sim: {}; the recording ends here\n", e.what());
      radio.recordTransmit(false);
      radio.takeTransmitted();
      file.reset();
      whole = false;
    }
  }
  std::optional<transmitRecorder> file;
  bool whole = true;
};

// until a signal asks for the end or the time is over
void watch(protocol1Radio& radio, const settings& s, const sigset_t& ends, transmitFile& recording) {
  constexpr long step_ns = 50000000;
  const double begin = monotonic_s();
  double nextLine = 1;
  bool silent = false;
  radioReport before = radio.report();
  for (;;) {
    const timespec step{0, step_ns};
    if (sigtimedwait(&ends, nullptr, &step) > 0) return;
    recording.take(radio);
    const double now = monotonic_s() - begin;
    if (s.seconds > 0 && now >= s.seconds) return;
    if (s.silence.size() == 2) {
      const bool wanted = now >= s.silence[0] && now < s.silence[0] + s.silence[1];
      if (wanted != silent) radio.setSilent(silent = wanted);
    }
    if (now < nextLine) continue;
    nextLine += 1;
    const radioReport report = radio.report();
    if (!s.quiet) printStatus(now, report, before, radio.transmitting());
    before = report;
  }
}

void printEnd(const protocol1Radio& radio) {
  const radioReport r = radio.report();
  const problemLog problems = radio.problems();
  fmt::print("sent {} iq and {} wideband datagrams, received {}; longest gap between the host's {:.1f} ms; problems: {}\n",
             r.iqSent, r.widebandSent, r.dataReceived, r.longestGap_ms, problems.summary());
  if (r.stalls > 0) fmt::print("this machine was too busy {} times to send in time\n", r.stalls);
  constexpr size_t shown = 10;
  const auto& latest = problems.latest();
  for (size_t i = latest.size() > shown ? latest.size() - shown : 0; i < latest.size(); ++i) fmt::print("  {}\n", latest[i]);
}

int play(settings& s, const sigset_t& ends) {
  s.profile = *findBoard(s.board);
  if (s.firmware >= 0) s.profile.firmware = static_cast<uint8_t>(s.firmware);
  s.radio.board = &s.profile;
  s.radio.gainMatters = !s.gainOff;
  s.radio.iqFullScale = s.radio.board->iqFullScale;
  const std::shared_ptr<bandScene> scene = makeScene(s.scene);
  if (s.noiseGiven) scene->setNoise(s.noise_dBFS);
  protocol1Radio radio(s.radio, scene);
  radio.setFaults(s.faults);
  if (s.txBack_s > 0) radio.setTransmitEcho(std::make_shared<transmitEcho>(scene, s.txBack_s, s.txBackLevel_dBFS));
  if (s.verbose) {
    for (const auto& signal : scene->current()->signals) fmt::print("{}\n", signal->describe());
    radio.onRegister([](const registerWrite& w) { fmt::print("register {}\n", describeRegister(w)); });
  }
  radio.onDevice([](const std::string& done) { fmt::print("{}\n", done); });
  radio.onTransmission([](const transmission& t) { fmt::print("transmission at {}\n", describeTransmission(t)); });
  transmitFile recording;
  recording.begin(radio, s);
  fmt::print("{} at {}:{}, scene {}\n", s.board, radio.address(), radio.port(), s.scene);
  radio.run();
  watch(radio, s, ends, recording);
  radio.stop();
  printEnd(radio);
  return recording.end(radio) ? 0 : 1;
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
  settings s;
  s.radio.watchdog_s = 10;
  CLI::App app("A simulated Protocol 1 radio that plays a band on the local network");
  addOptions(app, s);
  CLI11_PARSE(app, count, words);
  try {
    return play(s, ends);
  } catch (const std::system_error& e) {
    fmt::print(stderr, "larch-sim: can't bind {}\n", e.what());
  } catch (const std::exception& e) {
    fmt::print(stderr, "larch-sim: {}\n", e.what());
  }
  return 1;
}
