// How weak a station may be that a decoder still reads, from the simulator's own file and from what the station has captured of
// it; and whether it reads what the station has sent. Needs the Debian package wsjtx. slotDecoderStudy MODE [files a level]
// [levels in dB ...], or: slotDecoderStudy sent
#include "sim/slotSource.h"
#include "sim/transmitEcho.h"
#include "tests/modes/slotStation.h"
#include "tests/support/slotDecoders.h"
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

using namespace larch;
using namespace larch::test;

namespace {

constexpr double stationLevel = -40, bandNoise = -150; // dBFS; in 1 Hz

struct slotKind {
  const char* name;
  const char* message;
  double period_s, recorded_s;
  int32_t samplesPerSymbol;
  double toneSpacing;
  bool c2;
  const char* make;   // to the file of the second name, of a message at a level: fmt's places
  const char* file;   //
  const char* decode; //
  const char* code;   // the tones
  std::vector<double> levels;
};

const std::vector<slotKind> kinds{
    {"ft8",
     "K1ABC W9XYZ EN37",
     15,
     14.4,
     7680,
     6.25,
     false,
     "ft8sim '{}' 1500 0 0 0 1 {}",
     "000000_000001.wav",
     "jt9 -8 {}",
     "ft8code '{}'",
     {-15, -18, -19, -20, -21, -22}},
    {"ft4", "K1ABC W9XYZ EN37", 7.5, 7.2, 2304, 48000.0 / 2304, false, nullptr, nullptr, "jt9 -5 {}", "ft4code '{}'", {}},
    {"jt65",
     "K1ABC W9XYZ EN37",
     60,
     52,
     17833,
     11025.0 / 4096,
     false,
     "jt65sim -m A -n 1 -t 0.0 -f 1 -M '{}' -s '\\{}'",
     "000000_0001.wav",
     "jt9 -6 {}",
     nullptr,
     {-20, -22, -23, -24, -25, -26}},
    {"jt9",
     "K1ABC W9XYZ EN37",
     60,
     52,
     27648,
     48000.0 / 27648,
     false,
     "jt49sim '{}' 9A 1 0 0 0 1 {}",
     "000000_0001.wav",
     "jt9 -9 {}",
     "jt9code '{}'",
     {-22, -24, -25, -26, -27, -28}},
    {"wspr",
     "K1ABC FN42 33",
     120,
     114,
     32768,
     48000.0 / 32768,
     false,
     "wsprsim -f 20 -o 000000_0000.c2 '{}' -s {} || true",
     "000000_0000.c2",
     "wsprd {}",
     "wsprcode '{}'",
     {-24, -27, -28, -29, -30, -31}},
    {"wspr-c2",
     "K1ABC FN42 33",
     120,
     114,
     32768,
     48000.0 / 32768,
     true,
     "wsprsim -f 20 -o 000000_0000.c2 '{}' -s {} || true",
     "000000_0000.c2",
     "wsprd {}",
     nullptr,
     {-24, -27, -28, -29, -30, -31}}};

// The words in their places.
std::string filled(std::string text, const std::vector<std::string>& words) {
  size_t at = 0;
  for (const std::string& word : words) {
    at = text.find("{}", at);
    text.replace(at, 2, word);
    at += word.size();
  }
  return text;
}

std::string numberText(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

std::shared_ptr<JTModDemod> addMode(slotStation& station, const slotKind& kind, const std::string& folder) {
  const auto mode = station.add(folder, kind.c2 ? 1300 : 100, kind.c2 ? 1700 : 5000);
  const double values_s = kind.c2 ? 2 * 375 : 12000;
  mode->period.set(static_cast<int32_t>(kind.period_s * 1000));
  mode->SaveMode.set(kind.c2 ? 1 : 0);
  mode->Decimation.set(kind.c2 ? 128 : 4);
  mode->samplesPerBlock.set(static_cast<int32_t>(kind.period_s * values_s));
  mode->endPadding.set(static_cast<int32_t>((kind.period_s - kind.recorded_s) * values_s + 0.5));
  mode->samplesPerSymbol.set(kind.samplesPerSymbol);
  mode->toneSpacing.set(kind.toneSpacing);
  station.scene->setNoise(bandNoise);
  return mode;
}

std::string nextFile(slotStation& station) {
  const std::string told = station.nextFile();
  return told.substr(0, told.size() - 1);
}

struct row {
  int read = 0;
  double snr = 0; // sum over those that were read
  void add(const std::string& printed, const char* message) {
    if (const auto heard = decoderFolder::snrOf(printed, message)) {
      read++;
      snr += *heard;
    }
  }
  std::string text(int files) const {
    char words[64];
    std::snprintf(words, sizeof words, "%3d of %d, mean %s", read, files, read ? numberText(snr / read).c_str() : "-");
    return words;
  }
};

void measure(const decoderFolder& folder, const slotKind& kind, double level_dB, int files) {
  slotStation station(kind.period_s - 1);
  addMode(station, kind, folder.path("captured/"));
  row original, ours;
  for (int i = 0; i < files; i++) {
    folder.run(filled(kind.make, {kind.message, numberText(level_dB)}));
    const auto source = std::make_shared<sim::slotSource>(
        slotStation::dial, stationLevel, sim::readSlotFile(folder.path(kind.file), kind.period_s), kind.period_s);
    station.scene->add(source);
    if (i == 0) station.start();
    const std::string captured = nextFile(station);
    station.scene->remove(source);
    original.add(folder.run(filled(kind.decode, {kind.file})), kind.message);
    ours.add(folder.run(filled(kind.decode, {captured})), kind.message);
  }
  std::printf("%-8s %6.1f dB   %-28s %-28s\n", kind.name, level_dB, original.text(files).c_str(), ours.text(files).c_str());
  std::fflush(stdout);
}

// Comes back a slot later.
void sendOne(const decoderFolder& folder, const slotKind& kind) {
  slotStation station(kind.period_s - 1);
  const auto mode = addMode(station, kind, folder.path("captured/"));
  station.board->setTransmitEcho(std::make_shared<sim::transmitEcho>(station.scene, kind.period_s, -120));
  station.start();
  const auto tones = decoderFolder::tonesOf(folder.run(filled(kind.code, {kind.message})));
  buff<float> array(tones.size());
  std::copy(tones.begin(), tones.end(), array.data);
  mode->queueMsg(array, 1);
  nextFile(station);
  const std::string printed = folder.run(filled(kind.decode, {nextFile(station)}));
  std::printf("%-8s %zu tones  %s", kind.name, tones.size(), printed.c_str());
  std::fflush(stdout);
}

} // namespace

int main(int count, char** words) try {
  if (const std::string missing = missingDecoders(); !missing.empty()) {
    std::fprintf(stderr, "%s\n", missing.c_str());
    return 1;
  }
  const std::string wanted = count > 1 ? words[1] : "ft8";
  const int files = count > 2 ? std::atoi(words[2]) : 10;
  const decoderFolder folder;
  folder.run("mkdir captured");
  for (const slotKind& kind : kinds) {
    if (wanted == "sent" && kind.code) sendOne(folder, kind);
    if (wanted != kind.name || !kind.make) continue;
    std::vector<double> levels = kind.levels;
    if (count > 3) levels.clear();
    for (int i = 3; i < count; i++) levels.push_back(std::atof(words[i]));
    std::printf("         made at     the simulator's file         the captured slot\n");
    for (const double level : levels) measure(folder, kind, level, files);
  }
  return 0;
} catch (const std::exception& e) {
  std::fprintf(stderr, "%s\n", e.what());
  return 1;
}
