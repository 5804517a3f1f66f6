// The sub-commands: each returns the program's exit status and prints what a person needs.
#pragma once
#include "host/discovery.h"
#include "host/slotFormat.h"
#include "host/station.h"
#include "host/voiceModes.h"
#include <optional>
#include <string>
#include <vector>

namespace larchhost {

constexpr int success = 0, failure = 1, badUse = 2;

struct radioChoice {
  std::string address = "auto";
  std::string board;           // a profile's key; empty: what discovery says
  std::optional<int> protocol; // what the radio answers in
  std::optional<int32_t> clock_Hz, receivers, maxAdc;
  bool force = false; // a radio that says "in use", or one that doesn't answer discovery
};

struct listenOptions {
  radioChoice radio;
  std::string frequency;         // text as typed
  std::vector<std::string> also; // further receivers, FREQ or FREQ:MODE
  std::string mode = "usb";
  voiceSettings voice;
  std::string rate;   // empty: 192k, or what a mode needs
  std::string filter; // LOW:HIGH
  std::optional<int32_t> gain_dB;
  std::string audio;         // device id, part of a name, "none"; empty: the system's default
  double seconds = 0;        // 0: until told to stop
  std::string waterfall, iq; // files
  double zoom = 1;
  bool plain = false; // lines instead of the picture
  int32_t transverter_Hz = 0;
};

// Of each command that transmits.
struct transmitOptions {
  bool transmit = false;
  int32_t drive = 0;
  int32_t timeout_s{transmitGuard::defaultTimeout.count()};
  bool noAmplifier = false;
};

// Of each command that sends what is typed.
struct textOptions : transmitOptions {
  std::string text; // sent at once
};

struct talkOptions : transmitOptions {
  listenOptions receive;
  std::string input;     // microphone: device id, part of a name, "none"; empty: the system's default
  bool vox = false, delay = false, twoTone = false, radioKeys = false;
  double voxThreshold = 0.2, voxHold_s = 0.5;
  std::string equaliser; // file, or points
  std::string filter = "300:2700";
  int32_t offset_Hz = 0;
  double ptt_s = 0; // 0: keyed by hand, VOX or signal
};

struct cwOptions : textOptions {
  listenOptions receive; // with no further receivers; neither mode nor filter
  std::string key;       // device of a straight key
  double wpm = 25;
  double pitch_Hz = 650, sidetone = 0.3; // 1 is full scale
  int32_t width_Hz = 500;
  int32_t hang_ms = 500;
  int32_t offset_Hz = 0;
};

struct pskOptions : textOptions {
  listenOptions receive; // with no further receivers; no mode
  std::string variant = "PSK31";
  int32_t primary_Hz = 1500; // of audio
};

struct rttyOptions : textOptions {
  listenOptions receive;  // with no further receivers; neither mode nor filter
  int32_t mark_Hz = 2000; // above the frequency: of what is received
  int32_t width_Hz = 500;
  double squelch_dB = 10;
  bool raw = false; // stdout is the library's own
};

struct hellOptions : textOptions {
  listenOptions receive; // with no further receivers; neither mode nor zoom
  double step = 30;      // Hz between rows, and pixels a second
};

struct slotOptions : transmitOptions {
  listenOptions receive; // with no further receivers; no mode
  slotWishes slots;
  std::string folder = ".";
  std::string decoder; // shell command, {} is the file
  int decoders = 2;    // at once
  double decoderLimit_s = 60;
  int32_t files = 0; // to end after; 0: no end
  std::string send;  // file of tones, for the next slot
  int32_t tone_Hz = 1500;
};

struct multipskOptions {
  listenOptions receive; // with no further receivers; neither mode nor filter
  int32_t port = 50001;  // TCP; 0: the system's choice
  int32_t width_Hz = 46000;
};

int listenCommand(const listenOptions& options);
int talkCommand(const talkOptions& options);
int cwCommand(const cwOptions& options);
int pskCommand(const pskOptions& options);
int rttyCommand(const rttyOptions& options);
int hellCommand(const hellOptions& options);
int slotsCommand(const slotOptions& options);
int multipskCommand(const multipskOptions& options);
int radiosCommand(const std::string& address, int wait_ms);
int devicesCommand();
int doctorCommand(const std::string& address);

// The one radio to take of those that answered; with `force` also one that is in use. Throws as chooseRadio.
foundRadio pickRadio(const std::vector<foundRadio>& found, bool force);
// A radio as chosen: discovery's answer and the overrides. Throws std::runtime_error with a text for a person.
stationSettings chooseRadio(const radioChoice& choice);
// What a command that receives needs: the first receiver, and the radio, which is announced on stdout. They throw alike.
receiver chooseReceiver(const listenOptions& options, std::string& audioName);
stationSettings chooseStation(const listenOptions& options, const std::string& audioName);
// What a command that transmits needs, as far as all of them have it; without a microphone.
transmitSettings commonSending(const transmitOptions& options);
int32_t chooseRate(const listenOptions& options); // Hz
// The zoom asked for, or less where it wouldn't show so many Hz.
double chooseZoom(const listenOptions& options, double span_Hz);

} // namespace larchhost
