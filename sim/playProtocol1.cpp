#include <cstdio>
#include <optional>
#include <stdexcept>
#include <fmt/format.h>
#include "sim/protocol1Radio.h"
#include "sim/simPlay.h"
#include "sim/transmitRecorder.h"

namespace larch::sim {

namespace {
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

// --record-tx: written some 20 times a second by this thread, so that a slow disk doesn't hold up the radio.
class transmitFile {
 public:
  void begin(protocol1Radio& radio, const simSettings& s) {
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

void printEnd(const protocol1Radio& radio) {
  const radioReport r = radio.report();
  const problemLog problems = radio.problems();
  fmt::print("sent {} iq and {} wideband datagrams, received {}; longest gap between the host's {:.1f} ms; problems: {}\n",
             r.iqSent, r.widebandSent, r.dataReceived, r.longestGap_ms, problems.summary());
  if (r.stalls > 0) fmt::print("this machine was too busy {} times to send in time\n", r.stalls);
  printLatest(problems);
}

boardProfile boardToPlay(const simSettings& s) {
  const std::string name = s.board.empty() ? defaultBoard().name : s.board;
  const boardProfile* known = findBoard(name);
  if (known == nullptr) throw std::runtime_error(fmt::format("no board '{}' with Protocol 1", name));
  boardProfile board = *known;
  if (s.firmware >= 0) board.firmware = static_cast<uint8_t>(s.firmware);
  return board;
}

radioOptions optionsToPlay(const simSettings& s, const boardProfile& board) {
  radioOptions options = s.radio;
  options.board = &board;
  options.gainMatters = !s.gainOff;
  options.iqFullScale = board.iqFullScale;
  return options;
}

void listen(protocol1Radio& radio, const simSettings& s) {
  if (s.verbose) radio.onRegister([](const registerWrite& w) { fmt::print("register {}\n", describeRegister(w)); });
  radio.onDevice([](const std::string& done) { fmt::print("{}\n", done); });
  radio.onTransmission([](const transmission& t) { fmt::print("transmission at {}\n", describeTransmission(t)); });
}
} // namespace

int playProtocol1(const simSettings& s, const sigset_t& ends) {
  const boardProfile board = boardToPlay(s);
  if (s.radio.receivers > protocol1Stream::maxReceivers)
    throw std::runtime_error(fmt::format("{} receivers are more than Protocol 1 has", s.radio.receivers));
  if (s.loop_s > 0) throw std::runtime_error("--loop is for Protocol 2");
  const std::shared_ptr<bandScene> scene = sceneToPlay(s);
  protocol1Radio radio(optionsToPlay(s, board), scene);
  radio.setFaults(s.faults);
  if (s.txBack_s > 0) radio.setTransmitEcho(std::make_shared<transmitEcho>(scene, s.txBack_s, s.txBackLevel_dBFS));
  listen(radio, s);
  transmitFile recording;
  recording.begin(radio, s);
  fmt::print("{} at {}:{}, scene {}\n", board.name, radio.address(), radio.port(), s.scene);
  radio.run();
  radioReport before = radio.report();
  watchRadio(s, ends,
             {[&] { recording.take(radio); },
              [&](double now_s) {
                const radioReport report = radio.report();
                if (!s.quiet) printStatus(now_s, report, before, radio.transmitting());
                before = report;
              },
              [&](bool on) { radio.setSilent(on); }});
  radio.stop();
  printEnd(radio);
  return recording.end(radio) ? 0 : 1;
}

} // namespace larch::sim
