// The program larch-sim behind its options: a radio of either protocol that plays until it is told to end.
#pragma once
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <vector>
#include "sim/bandScene.h"
#include "sim/faultInjector.h"
#include "sim/problemLog.h"
#include "sim/protocol2Options.h"
#include "sim/radioOptions.h"

namespace larch::sim {

struct simSettings {
  int protocol = 1;
  radioOptions radio; // bindAddress, receivers, clock and its error, inUse, watchdog: of both protocols
  double loop_s = 0;  // Protocol 2
  std::string board;  // empty: the protocol's default
  int firmware = -1;  // the board's
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

// Each returns the program's exit status, and throws std::exception with words for a person.
int playProtocol1(const simSettings& settings, const sigset_t& ends);
int playProtocol2(const simSettings& settings, const sigset_t& ends);

// What a playing radio is asked to do meanwhile, with the seconds since the beginning.
struct simChores {
  std::function<void()> often;                  // some 20 times a second
  std::function<void(double now_s)> eachSecond; // the status line
  std::function<void(bool)> setSilent;
};
// Until a signal asks for the end or the time is over.
void watchRadio(const simSettings& settings, const sigset_t& ends, const simChores& chores);

// The scene as the options ask for it, described when they are verbose.
std::shared_ptr<bandScene> sceneToPlay(const simSettings& settings);
void printLatest(const problemLog& problems);

} // namespace larch::sim
