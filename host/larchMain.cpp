// larch: a small station on the command line, written on the library's public header alone.
#include "host/boardProfile.h"
#include "host/commands.h"
#include "host/console.h"
#include "host/hellMode.h"
#include "host/rttyMode.h"
#include "host/signals.h"
#include "host/transmitGuard.h"
#include "runtime/larchlib.h"
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fmt/format.h>

namespace {

using namespace larchhost;

constexpr double narrowZoom = 16; // 12 kHz at the usual rate

std::string defaultLog() {
  const char* state = std::getenv("XDG_STATE_HOME");
  const char* home = std::getenv("HOME");
  std::error_code ignored; // without the folder the log's own error tells
  std::filesystem::path folder = state && *state ? state
                                 : home && *home ? std::filesystem::path(home) / ".local/state"
                                                 : std::filesystem::temp_directory_path();
  folder /= "larch";
  std::filesystem::create_directories(folder, ignored);
  return folder / "larch.log";
}

void addRadioOptions(CLI::App& command, radioChoice& radio) {
  command.add_option("--radio", radio.address, "the radio's IPv4 address, or auto to search for it")->capture_default_str();
  command.add_option("--protocol", radio.protocol, "1 or 2: what to ask the radio in; both if not given")
      ->check(CLI::Range(1, 2));
  command.add_option("--board", radio.board, "settings of this board whatever discovery says (larch radios --boards)");
  command.add_option("--clock", radio.clock_Hz, "ADC clock in Hz")->check(CLI::Range(1000000, 1000000000));
  command.add_option("--receivers", radio.receivers, "hardware receivers")->check(CLI::Range(1, 32));
  command.add_option("--max-adc", radio.maxAdc, "ADC full scale: 2048 or 32768")->check(CLI::Range(1, 32768));
  command.add_flag("--force", radio.force, "also a radio that is in use, or that doesn't answer");
}

void addReceiveOptions(CLI::App& command, listenOptions& o) {
  addRadioOptions(command, o.radio);
  command.add_option("--freq", o.frequency, "frequency: 7.074M, 7074k or 7074000")->required();
  command.add_option(
      "--rate", o.rate,
      "sample rate of the receivers: 48k, 96k, 192k, 384k; 768k, 1536k with Protocol 2; 192k if not given, 384k with fm");
  command.add_option("--gain", o.gain_dB, "receive gain in dB, within the board's limits");
  command.add_option("--audio", o.audio, "sound output: id, part of its name, or none (larch devices)");
  command.add_option("--seconds", o.seconds, "stop after this time")->check(CLI::NonNegativeNumber);
  command.add_option("--waterfall", o.waterfall, "save the waterfall as a PNG picture at the end");
  command.add_option("--iq", o.iq, "record 48 kHz of IQ around the frequency as a WAV file");
  command.add_option("--zoom", o.zoom, "spectrum zoom, a power of two; under 1 shows more than the receiver's band")
      ->check(CLI::Range(0.25, 64.0));
  command.add_option("--transverter", o.transverter_Hz, "Hz added to the radio's frequencies");
  command.add_flag("--plain", o.plain, "a line each second, also in a terminal");
}

void addSpeechOptions(CLI::App& command, listenOptions& o) {
  command.add_option("--mode", o.mode, "usb, lsb, am, nfm or fm")->capture_default_str();
  command.add_option("--filter", o.filter, "channel filter LOW:HIGH in Hz from the carrier");
  command.add_option("--also", o.also, "a further receiver at FREQ or FREQ:MODE; may be given again")->type_name("FREQ[:MODE]");
  command.add_option("--deviation", o.voice.deviation_Hz, "peak deviation in Hz of nfm (2500) or, from 12000 on, of fm (75000)")
      ->check(CLI::Range(500.0, 100000.0));
}

void addTransmitFlag(CLI::App& command, transmitOptions& o) {
  command.add_flag("--transmit", o.transmit, "allow transmission; without it nothing is ever keyed");
}

void addDriveAndTimeout(CLI::App& command, transmitOptions& o) {
  command.add_option("--drive", o.drive, "transmit level, 0 to 255")->check(CLI::Range(0, 255))->capture_default_str();
  command.add_option("--timeout", o.timeout_s, "seconds after which a transmission is ended")
      ->check(CLI::Range(int64_t{1}, int64_t{transmitGuard::longestTimeout.count()}))
      ->capture_default_str();
}

void addAmplifierFlag(CLI::App& command, transmitOptions& o) {
  command.add_flag("--no-pa", o.noAmplifier, "leave the board's power amplifier off, where it has a switch for it");
}

void addTransmitOptions(CLI::App& command, transmitOptions& o) {
  addTransmitFlag(command, o);
  addDriveAndTimeout(command, o);
  addAmplifierFlag(command, o);
}

void addText(CLI::App& command, textOptions& o) {
  command.add_option("--text", o.text, "send this at once; without a terminal the end of the text is the end");
}

void addSendingOptions(CLI::App& command, textOptions& o) {
  addText(command, o);
  addTransmitOptions(command, o);
}

CLI::App* addListen(CLI::App& app, listenOptions& o) {
  CLI::App* listen = app.add_subcommand("listen", "receive: live spectrum, waterfall, S-meter and sound");
  addReceiveOptions(*listen, o);
  addSpeechOptions(*listen, o);
  return listen;
}

CLI::App* addTalk(CLI::App& app, talkOptions& o) {
  CLI::App* talk = app.add_subcommand("talk", "receive, and transmit speech");
  addReceiveOptions(*talk, o.receive);
  addSpeechOptions(*talk, o.receive);
  addTransmitFlag(*talk, o);
  talk->add_option("--input", o.input, "microphone: id, part of its name, or none (larch devices)");
  addDriveAndTimeout(*talk, o);
  talk->add_option("--ptt-seconds", o.ptt_s, "transmit at once for so many seconds, then end")->check(CLI::PositiveNumber);
  talk->add_flag("--foot-switch", o.radioKeys, "the radio's own PTT input keys, too");
  talk->add_flag("--vox", o.vox, "key by voice");
  talk->add_option("--vox-threshold", o.voxThreshold, "microphone level that keys, 1 is full scale")
      ->check(CLI::Range(0.0, 1.0))
      ->capture_default_str();
  talk->add_option("--vox-hold", o.voxHold_s, "seconds that the key stays down in a pause")
      ->check(CLI::Range(0.0, 60.0))
      ->capture_default_str();
  talk->add_flag("--delay", o.delay, "record five seconds of the microphone, then send them over and over");
  talk->add_option("--compression", o.receive.voice.compression, "speech drive into the clipper")
      ->check(CLI::Range(0.0, 100.0))
      ->capture_default_str();
  talk->add_option("--ctcss", o.receive.voice.ctcss_Hz, "tone in Hz under the speech of nfm and fm")
      ->check(CLI::Range(67.0, 254.1));
  talk->add_option("--eq", o.equaliser, "microphone equaliser: a file, or up to nine points HZ:GAIN,HZ:GAIN,...");
  talk->add_option("--tx-filter", o.filter, "LOW:HIGH of the speech sent on usb and lsb, in Hz from the carrier")
      ->capture_default_str();
  talk->add_option("--tx-offset", o.offset_Hz, "Hz added to the transmit frequency")->check(CLI::Range(-10000000, 10000000));
  talk->add_flag("--two-tone", o.twoTone, "send two tones in place of speech");
  addAmplifierFlag(*talk, o);
  return talk;
}

CLI::App* addCw(CLI::App& app, cwOptions& o) {
  CLI::App* cw = app.add_subcommand("cw", "Morse: receive as text, and transmit by text and by a straight key");
  addReceiveOptions(*cw, o.receive);
  cw->add_option("--width", o.width_Hz, "width of the receive filter around the carrier, in Hz")
      ->check(CLI::Range(100, 3000))
      ->capture_default_str();
  cw->add_option("--pitch", o.pitch_Hz, "pitch of the carrier as heard, and of the sidetone, in Hz")
      ->check(CLI::Range(100.0, 3000.0))
      ->capture_default_str();
  addTransmitFlag(*cw, o);
  addText(*cw, o);
  cw->add_option("--key", o.key, "straight key: a serial line (its CTS), or an input device, /dev/input/event*")
      ->type_name("DEVICE");
  cw->add_option("--wpm", o.wpm, "speed of what is sent, words per minute")->check(CLI::Range(5.0, 60.0))->capture_default_str();
  cw->add_option("--hang", o.hang_ms, "ms without keying until the transmission ends")
      ->check(CLI::Range(0, 10000))
      ->capture_default_str();
  cw->add_option("--sidetone", o.sidetone, "level of the sidetone, 0 to 1")->check(CLI::Range(0.0, 1.0))->capture_default_str();
  addDriveAndTimeout(*cw, o);
  cw->add_option("--tx-offset", o.offset_Hz, "Hz added to the transmit frequency")->check(CLI::Range(-10000000, 10000000));
  addAmplifierFlag(*cw, o);
  return cw;
}

CLI::App* addPsk(CLI::App& app, pskOptions& o) {
  CLI::App* psk =
      app.add_subcommand("psk", "PSK31 and relatives: receive all signals of the passband as text, and transmit text");
  addReceiveOptions(*psk, o.receive);
  psk->add_option("--filter", o.receive.filter, "passband LOW:HIGH in Hz above the frequency")->default_str("200:3200");
  psk->add_option("--primary", o.primary_Hz, "Hz above the frequency of the signal to follow, and to send on")
      ->capture_default_str();
  psk->add_option("--psk-mode", o.variant, "its mode: psk31, psk63, psk125, qpsk31, qpsk63, qpsk125")->capture_default_str();
  addSendingOptions(*psk, o);
  return psk;
}

CLI::App* addRtty(CLI::App& app, rttyOptions& o) {
  CLI::App* rtty = app.add_subcommand("rtty", "radioteletype, 45.45 baud, 170 Hz shift: receive and transmit text");
  addReceiveOptions(*rtty, o.receive);
  rtty->add_option("--mark", o.mark_Hz, "Hz above the frequency of the mark received, the lower one of the two tones")
      ->check(CLI::Range(-rttyMode::farthest, rttyMode::farthest))
      ->capture_default_str();
  rtty->add_option("--width", o.width_Hz, "width of the receive filter around the two tones, in Hz")
      ->check(CLI::Range(200, 1000))
      ->capture_default_str();
  rtty->add_option("--squelch", o.squelch_dB, "dB over the noise from which a tone is read; 0 reads all")
      ->check(CLI::Range(0.0, 60.0))
      ->capture_default_str();
  rtty->add_flag("--raw", o.raw, "stdout is the library's own, byte by byte; all else goes to stderr");
  addSendingOptions(*rtty, o);
  return rtty;
}

CLI::App* addHell(CLI::App& app, hellOptions& o) {
  CLI::App* hell = app.add_subcommand("hell", "Hellschreiber: text as a picture in the waterfall, received and transmitted");
  addReceiveOptions(*hell, o.receive);
  hell->remove_option(hell->get_option("--zoom")); // it follows from the step
  hell->get_option("--waterfall")
      ->description("save what is received as a PNG picture at the end, to be read from left to right");
  hell->add_option("--filter", o.receive.filter, "passband LOW:HIGH in Hz above the frequency; else the rows of the characters");
  hell->add_option("--step", o.step, "Hz between two rows, and pixels a second")
      ->check(CLI::Range(hellMode::leastStep, hellMode::mostStep))
      ->capture_default_str();
  addSendingOptions(*hell, o);
  return hell;
}

CLI::App* addSlots(CLI::App& app, slotOptions& o) {
  CLI::App* slots = app.add_subcommand("slots", "timed-slot modes: a file for each slot, for a decoder, and tones to send");
  addReceiveOptions(*slots, o.receive);
  slots->add_option("--filter", o.receive.filter, "passband LOW:HIGH in Hz above the frequency; 100:5000, with c2 1300:1700");
  slots->add_option("--slot-mode", o.slots.mode, "settings of " + slotModeNames());
  slots->add_option("--period", o.slots.period_ms,
                    "length of a slot in ms, counted from the top of the hour; 15000 if not given");
  slots->add_option("--record", o.slots.recorded_ms, "ms of a slot that are recorded, the rest of its file is zeros");
  slots->add_option("--save", o.slots.save, "wav, 12 kHz, or c2, 375 Hz of I and Q around 1500 Hz")->capture_default_str();
  slots->add_option("--dir", o.folder, "folder of the files, made if it isn't there")->capture_default_str();
  slots->add_option("--decoder", o.decoder, "shell command that gets each file, for {}, and prints what it reads")
      ->type_name("COMMAND");
  slots->add_option("--decoders", o.decoders, "decoders at work at once")->check(CLI::Range(1, 16))->capture_default_str();
  slots->add_option("--decoder-limit", o.decoderLimit_s, "seconds after which a decoder is ended")
      ->check(CLI::Range(0.1, 3600.0))
      ->capture_default_str();
  slots->add_option("--slots", o.files, "end after so many files and their decoders")->check(CLI::Range(1, 1000000));
  slots->add_option("--send", o.send, "file of tone numbers, sent in the next slot")->type_name("FILE");
  slots->add_option("--tone", o.tone_Hz, "where tone 0 is sent, Hz above the frequency")
      ->check(CLI::Range(50, 5500))
      ->capture_default_str();
  slots->add_option("--symbol", o.slots.samplesPerSymbol, "length of a tone in samples at 48 kHz; 7680 if not given")
      ->check(CLI::Range(1, 10000000));
  slots->add_option("--spacing", o.slots.toneSpacing_Hz, "Hz from one tone to the next; 6.25 if not given")
      ->check(CLI::Range(0.0, 5000.0));
  addTransmitOptions(*slots, o);
  return slots;
}

CLI::App* addMultipsk(CLI::App& app, multipskOptions& o) {
  CLI::App* multipsk = app.add_subcommand("multipsk", "be the radio of the program MultiPSK, over TCP; receive only");
  addReceiveOptions(*multipsk, o.receive);
  multipsk->add_option("--port", o.port, "TCP port, on every address of this machine; the next free one if it is taken")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  multipsk->add_option("--width", o.width_Hz, "Hz around the frequency that MultiPSK gets")
      ->check(CLI::Range(500, 46000))
      ->capture_default_str();
  return multipsk;
}

// CLI's own checks of ranges let NaN through.
void refuseStrangeNumbers(CLI::App& command) {
  const auto check = [](const std::string& text) {
    return std::isfinite(std::strtod(text.c_str(), nullptr)) ? "" : text + " is no number to go by";
  };
  for (CLI::Option* option : command.get_options())
    if (option->get_type_name().starts_with("FLOAT")) option->check(check);
}

void printBoards() {
  fmt::print("{:<12} {:<16} {:>8} {:>11} {:>9} {:>9}  {}\n", "--board", "name", "protocol", "clock/Hz", "receivers", "max-adc",
             "gain/dB");
  for (const auto& b : boardProfiles())
    fmt::print("{:<12} {:<16} {:>8} {:>11} {:>9} {:>9}  {} to {}\n", b.key, b.name, b.protocol, b.clockFrequency, b.receivers,
               b.maxAdcValue, b.minGain_dB, b.maxGain_dB);
}

// An output that is deaf or closed changes nothing about the end.
void printError(const std::string& text) try { printLine(stderr, "larch: " + text); } catch (const std::exception&) {
}

} // namespace

int main(int argc, char** argv) {
  CLI::App app("larch: a software-defined-radio station on the command line");
  app.require_subcommand(1);
  app.set_help_all_flag("--help-all", "help of all commands");
  std::string log;
  bool verbose = false;
  app.add_option("--log", log, "log file (default: ~/.local/state/larch/larch.log)");
  app.add_flag("--verbose", verbose, "log what goes well, too");
  listenOptions listenWith;
  CLI::App* listen = addListen(app, listenWith);
  talkOptions talkWith;
  CLI::App* talk = addTalk(app, talkWith);
  cwOptions cwWith;
  cwWith.receive.zoom = narrowZoom;
  CLI::App* cw = addCw(app, cwWith);
  pskOptions pskWith;
  pskWith.receive.zoom = narrowZoom;
  CLI::App* psk = addPsk(app, pskWith);
  rttyOptions rttyWith;
  rttyWith.receive.zoom = narrowZoom;
  CLI::App* rtty = addRtty(app, rttyWith);
  hellOptions hellWith;
  CLI::App* hell = addHell(app, hellWith);
  slotOptions slotsWith;
  slotsWith.receive.zoom = narrowZoom;
  CLI::App* slots = addSlots(app, slotsWith);
  multipskOptions multipskWith;
  CLI::App* multipsk = addMultipsk(app, multipskWith);
  std::string address;
  int wait_ms = 1000;
  bool boards = false;
  CLI::App* radios = app.add_subcommand("radios", "find radios in this network");
  radios->add_option("--radio", address, "ask this address only");
  radios->add_option("--wait", wait_ms, "milliseconds to wait for answers")->check(CLI::Range(1, 60000))->capture_default_str();
  radios->add_flag("--boards", boards, "list the known boards and their settings instead");
  CLI::App* devices = app.add_subcommand("devices", "list sound devices");
  CLI::App* doctor = app.add_subcommand("doctor", "check what a station needs");
  doctor->add_option("--radio", address, "ask this address only");
  for (CLI::App* command : {listen, talk, cw, psk, rtty, hell, slots, multipsk, radios, devices, doctor}) command->fallthrough();
  for (CLI::App* command : app.get_subcommands({})) refuseStrangeNumbers(*command);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? success : badUse;
  }
  try {
    catchSignals();
    if (radios->parsed() && boards) return printBoards(), success;
    if (radios->parsed()) return radiosCommand(address, wait_ms);
    init((log.empty() ? defaultLog() : log).c_str(), verbose ? 1 : 0);
    if (devices->parsed()) return devicesCommand();
    if (doctor->parsed()) return doctorCommand(address);
    if (cw->parsed()) return cwCommand(cwWith);
    if (psk->parsed()) return pskCommand(pskWith);
    if (rtty->parsed()) return rttyCommand(rttyWith);
    if (hell->parsed()) return hellCommand(hellWith);
    if (slots->parsed()) return slotsCommand(slotsWith);
    if (multipsk->parsed()) return multipskCommand(multipskWith);
    return talk->parsed() ? talkCommand(talkWith) : listenCommand(listenWith);
  } catch (const std::exception& e) {
    return printError(e.what()), failure;
  }
}
