// How weak a station may be that a decoder still reads, from the simulator's own file and from what the station has captured of
// it. Needs the Debian package wsjtx. slotDecoderStudy [files a level] [FT8 levels in dB ...]
#include "sim/slotSource.h"
#include "tests/modes/slotStation.h"
#include "tests/support/slotDecoders.h"
#include <cstdio>
#include <cstdlib>
#include <exception>

using namespace larch;
using namespace larch::test;

namespace {

constexpr const char* message = "K1ABC W9XYZ EN37";
constexpr double stationLevel = -40, bandNoise = -150; // dBFS; in 1 Hz

struct row {
  int read = 0;
  double snr = 0; // sum over those that were read
  void add(const std::string& printed) {
    if (const auto heard = decoderFolder::snrOf(printed, message)) {
      read++;
      snr += *heard;
    }
  }
  double mean() const { return read ? snr / read : 0; }
};

void measure(const decoderFolder& folder, double level_dB, int files) {
  slotStation station(14);
  const auto mode = station.add(folder.path(""), 100, 5000);
  mode->samplesPerBlock.set(180000);
  mode->endPadding.set(7200);
  station.scene->setNoise(bandNoise);
  folder.run("ft8sim '" + std::string(message) + "' 1500 0 0 0 " + std::to_string(files) + " " + std::to_string(level_dB));
  row original, ours;
  for (int i = 1; i <= files; i++) {
    char name[32];
    std::snprintf(name, sizeof name, "000000_%06d.wav", i);
    const auto source =
        std::make_shared<sim::slotSource>(slotStation::dial, stationLevel, sim::readSlotFile(folder.path(name), 15), 15);
    station.scene->add(source);
    if (i == 1) station.start();
    const std::string told = station.nextFile();
    station.scene->remove(source);
    original.add(folder.run(std::string("jt9 -8 ") + name));
    ours.add(folder.run("jt9 -8 " + told.substr(0, told.size() - 1)));
  }
  std::printf("%7.1f dB   %3d of %d, %6.1f dB      %3d of %d, %6.1f dB\n", level_dB, original.read, files, original.mean(),
              ours.read, files, ours.mean());
  std::fflush(stdout);
}

} // namespace

int main(int count, char** words) try {
  if (const std::string missing = missingDecoders(); !missing.empty()) {
    std::fprintf(stderr, "%s\n", missing.c_str());
    return 1;
  }
  const int files = count > 1 ? std::atoi(words[1]) : 10;
  std::vector<double> levels;
  for (int i = 2; i < count; i++) levels.push_back(std::atof(words[i]));
  if (levels.empty()) levels = {-10, -15, -18, -19, -20, -21, -22, -23};
  std::printf("   made at      the simulator's file      the captured slot\n");
  const decoderFolder folder;
  for (const double level : levels) measure(folder, level, files);
  return 0;
} catch (const std::exception& e) {
  std::fprintf(stderr, "%s\n", e.what());
  return 1;
}
