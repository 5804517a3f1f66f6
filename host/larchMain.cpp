// larch: a small station on the command line, written on the library's public header alone.
#include "host/boardProfile.h"
#include "host/commands.h"
#include "runtime/larchlib.h"
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fmt/format.h>

namespace {

using namespace larchhost;

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
  command.add_option("--board", radio.board, "settings of this board whatever discovery says (larch radios --boards)");
  command.add_option("--clock", radio.clock_Hz, "ADC clock in Hz")->check(CLI::Range(1000000, 1000000000));
  command.add_option("--receivers", radio.receivers, "hardware receivers")->check(CLI::Range(1, 32));
  command.add_option("--max-adc", radio.maxAdc, "ADC full scale: 2048 or 32768")->check(CLI::Range(1, 1 << 24));
  command.add_flag("--force", radio.force, "also a radio that is in use, or that doesn't answer");
}

CLI::App* addListen(CLI::App& app, listenOptions& o) {
  CLI::App* listen = app.add_subcommand("listen", "receive: live spectrum, waterfall, S-meter and sound");
  addRadioOptions(*listen, o.radio);
  listen->add_option("--freq", o.frequency, "frequency: 7.074M, 7074k or 7074000")->required();
  listen->add_option("--also", o.also, "a further receiver at FREQ or FREQ:MODE; may be given again")->type_name("FREQ[:MODE]");
  listen->add_option("--mode", o.mode, "usb or lsb")->capture_default_str();
  listen->add_option("--rate", o.rate, "sample rate of the receivers: 48k, 96k, 192k, 384k")->capture_default_str();
  listen->add_option("--filter", o.filter, "channel filter LOW:HIGH in Hz from the carrier");
  listen->add_option("--gain", o.gain_dB, "receive gain in dB, within the board's limits");
  listen->add_option("--audio", o.audio, "sound output: id, part of its name, or none (larch devices)");
  listen->add_option("--seconds", o.seconds, "stop after this time")->check(CLI::NonNegativeNumber);
  listen->add_option("--waterfall", o.waterfall, "save the waterfall as a PNG picture at the end");
  listen->add_option("--iq", o.iq, "record 48 kHz of IQ around the frequency as a WAV file");
  listen->add_option("--zoom", o.zoom, "spectrum zoom, a power of two; under 1 shows more than the receiver's band")
      ->check(CLI::Range(0.25, 64.0));
  listen->add_option("--transverter", o.transverter_Hz, "Hz added to the radio's frequencies");
  listen->add_flag("--plain", o.plain, "a line each second, also in a terminal");
  return listen;
}

void printBoards() {
  fmt::print("{:<12} {:<16} {:>8} {:>11} {:>9} {:>9}  {}\n", "--board", "name", "protocol", "clock/Hz", "receivers", "max-adc",
             "gain/dB");
  for (const auto& b : boardProfiles())
    fmt::print("{:<12} {:<16} {:>8} {:>11} {:>9} {:>9}  {} to {}\n", b.key, b.name, b.protocol, b.clockFrequency, b.receivers,
               b.maxAdcValue, b.minGain_dB, b.maxGain_dB);
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
  for (CLI::App* command : {listen, radios, devices, doctor}) command->fallthrough();
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
    return listenCommand(listenWith);
  } catch (const std::exception& e) {
    fmt::print(stderr, "larch: {}\n", e.what());
    return failure;
  }
}
