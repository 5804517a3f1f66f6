#include <cstdio>
#include <stdexcept>
#include <fmt/format.h>
#include "sim/protocol2Radio.h"
#include "sim/simPlay.h"

namespace larch::sim {

namespace {
uint64_t sentFrom(const p2Report& r, p2Source s) { return r.sent.made[static_cast<size_t>(s)]; }

std::string ratesText(const p2HostSettings& s) {
  std::string text;
  for (const int rate : {48000, 96000, 192000, 384000, 768000, 1536000}) {
    int count = 0;
    for (const auto& r : s.rx) count += r.on && r.rate_Hz == rate ? 1 : 0;
    if (count > 0) text += fmt::format("{}{} Hz x {}", text.empty() ? "" : " + ", rate, count);
  }
  return text.empty() ? "no receiver" : text;
}

void printStatus(double now_s, const p2Report& r, const p2Report& before) {
  if (!r.streaming) {
    fmt::print("{:.0f} s  idle  discoveries {}  problems {}\n", now_s, r.discoveries, r.problems);
    return;
  }
  const auto rate = [&](p2Source s) { return sentFrom(r, s) - sentFrom(before, s); };
  uint64_t host = 0;
  for (size_t k = 0; k < p2Packets; ++k) host += r.received[k] - before.received[k];
  fmt::print("{:.0f} s  to {}  {}  attenuator {} dB  iq {}/s  wideband {}/s  microphone {}/s  host {}/s  {}problems {}\n", now_s,
             r.peer.text(), ratesText(r.settings), r.settings.attenuation_dB[0], r.sent.iq() - before.sent.iq(),
             rate(p2Source::wideband), rate(p2Source::microphone), host,
             r.sent.clipped != before.sent.clipped ? "OVERLOAD  " : "", r.problems);
}

void printEnd(const protocol2Radio& radio) {
  const p2Report r = radio.report();
  const problemLog problems = radio.problems();
  fmt::print("sent {} iq, {} wideband, {} microphone and {} status datagrams, received {} general, {} down-converter, "
             "{} up-converter and {} high-priority packets; problems: {}\n",
             r.sent.iq(), sentFrom(r, p2Source::wideband), sentFrom(r, p2Source::microphone), sentFrom(r, p2Source::status),
             r.received[0], r.received[1], r.received[2], r.received[3], problems.summary());
  if (r.stalls > 0) fmt::print("this machine was too busy {} times to send in time\n", r.stalls);
  if (r.refused > 0) fmt::print("this machine refused {} datagrams\n", r.refused);
  printLatest(problems);
}

otherBoardProfile boardToPlay(const simSettings& s) {
  const std::string name = s.board.empty() ? defaultOtherBoard().name : s.board;
  const otherBoardProfile* known = findOtherBoard(name);
  if (known == nullptr) throw std::runtime_error(fmt::format("no board '{}' with Protocol 2", name));
  otherBoardProfile board = *known;
  if (s.firmware >= 0) board.firmware = static_cast<uint8_t>(s.firmware);
  return board;
}

protocol2Options optionsToPlay(const simSettings& s, const otherBoardProfile& board) {
  if (s.txBack_s > 0 || !s.transmitFile.empty()) throw std::runtime_error("a Protocol 2 radio takes no transmission");
  if (s.radio.port != p2CommandPorts[0]) throw std::runtime_error("the ports of Protocol 2 are fixed");
  protocol2Options o;
  o.board = &board;
  o.bindAddress = s.radio.bindAddress;
  o.receivers = s.radio.receivers;
  o.clock_Hz = s.radio.clock_Hz;
  o.clockError_ppm = s.radio.clockError_ppm;
  o.inUse = s.radio.inUse;
  o.gainMatters = !s.gainOff;
  if (s.radio.widebandFullScale > 0) o.widebandFullScale = s.radio.widebandFullScale;
  o.watchdog_s = s.radio.watchdog_s;
  o.loop_s = s.loop_s;
  return o;
}
} // namespace

int playProtocol2(const simSettings& s, const sigset_t& ends) {
  const otherBoardProfile board = boardToPlay(s);
  protocol2Radio radio(optionsToPlay(s, board), sceneToPlay(s));
  radio.setFaults(s.faults);
  if (s.verbose)
    radio.onField([](p2Packet kind, const std::string& said) { fmt::print("{} packet, {}\n", p2PacketName(kind), said); });
  fmt::print("{} at {}:{}, scene {}\n", board.name, radio.address(), p2CommandPorts[0], s.scene);
  radio.run();
  p2Report before = radio.report();
  watchRadio(s, ends,
             {nullptr,
              [&](double now_s) {
                const p2Report report = radio.report();
                if (!s.quiet) printStatus(now_s, report, before);
                before = report;
              },
              [&](bool on) { radio.setSilent(on); }});
  radio.stop();
  printEnd(radio);
  return 0;
}

} // namespace larch::sim
