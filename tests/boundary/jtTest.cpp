// Timed slots through the public functions: the host hears of files and keys a message by the system's clock.
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "tests/boundary/testHost.h"
#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <vector>

using namespace testHost;

namespace {

constexpr int32_t values = 36'096;
vtrx* added = nullptr;
std::vector<std::string> files;
std::vector<bool> ptts;
std::thread::id calledOn;

void keepVtrx(vtrx* handle, int32_t, int32_t) { added = handle; }
void keepFile(const char* text) {
  calledOn = std::this_thread::get_id();
  files.push_back(text);
}

std::string shapeOf(std::string name) {
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; }, '#');
  return name;
}

// The radio's stream runs as fast as the library answers; slots follow the system's clock all the same.
template <class Condition> bool streamUntil(larch::sim::protocol1Radio& board, Condition reached) {
  constexpr uint64_t batch = 16, onTheirWay = 24;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  uint64_t sent = board.report().dataReceived;
  while (!reached()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    board.emit(batch);
    sent += batch;
    if (!pollUntil([&] {
          board.poll();
          getRenderUpdates();
          return reached() || board.report().dataReceived + onTheirWay >= sent;
        }))
      return false;
  }
  return true;
}

// As a host takes the tag off: it begins behind the last suffix that the library gives a file.
std::pair<std::string, int32_t> nameAndTag(const std::string& text) {
  const size_t wav = text.rfind(".wav"), c2 = text.rfind(".c2");
  const size_t end = wav == std::string::npos ? c2 + 3 : wav + 4;
  return {text.substr(0, end), std::stoi(text.substr(end))};
}

int32_t tagOf(const std::string& text) { return nameAndTag(text).second; }
bool anyWithTag(int32_t tag) {
  return std::any_of(files.begin(), files.end(), [tag](const std::string& text) { return tagOf(text) == tag; });
}

time_t timeOf(const std::string& file) {
  tm parts{};
  EXPECT_NE(strptime(std::filesystem::path(file).filename().c_str(), "%y%m%d_%H%M%S", &parts), nullptr) << file;
  return timegm(&parts);
}

} // namespace

TEST(jtTest, slotsAreToldAndMessagesGoOut) {
  start();
  std::string folder = temporaryPath("slotsXXXXXX");
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const auto scene = std::make_shared<larch::sim::bandScene>();
  scene->addCarrier(14'097'100, -20);
  const auto board = larch::sim::protocol1Radio::onFreeLoopback({}, scene);
  HpsdrRadio* radio = watched(HpsdrRadio_create());
  auto* base = reinterpret_cast<Radio*>(radio);
  HpsdrRadio_setipAddress(radio, board->address().c_str());
  HpsdrRadio_setclockFrequency(radio, 76'800'000);
  Radio_bindvtrxAdded(base, keepVtrx);
  Radio_start(base);
  ASSERT_TRUE(pollUntil([&] {
    board->poll();
    return added && board->report().streaming;
  }));
  JTModDemod* mode = watched(JTModDemod_create());
  JTModDemod_bindnewFile(mode, keepFile);
  JTModDemod_setsaveDirectory(mode, (folder + "/").c_str());
  JTModDemod_setperiod(mode, 1000);
  JTModDemod_setsamplesPerBlock(mode, values); // three seconds of radio time: between slots a message isn't late, it waits
  vtrx_bindnewSpectrum(watched(added), [](floatArray* frame, double, double, int32_t) { floatArray_delete(frame); });
  vtrx_bindptt(added, [](bool on) { ptts.push_back(on); });
  vtrx_setvfo(added, 14'095'600);
  vtrx_setdrive(added, 255);
  vtrx_setModulation(added, reinterpret_cast<modDemod*>(mode));
  vtrx_setRxFilter(added, 100, 5000);
  vtrx_setTxFilter(added, 100, 5000);
  vtrx_start(added);
  ASSERT_TRUE(settle(added));

  // reception: a WAV file whose name is the time
  const time_t before = time(nullptr);
  ASSERT_TRUE(streamUntil(*board, [] { return !files.empty(); }));
  EXPECT_TRUE(calledOn == std::this_thread::get_id()) << "inside the host's poll";
  const auto [file, tag] = nameAndTag(files[0]);
  EXPECT_EQ(tag, 8) << files[0];
  EXPECT_EQ(shapeOf(file.substr(folder.size())), "/######_######.wav") << files[0];
  EXPECT_GE(timeOf(file), before);
  EXPECT_LE(timeOf(file), time(nullptr));
  EXPECT_EQ(contents(file).size(), 44u + 2 * values);
  EXPECT_TRUE(ptts.empty());

  // a message: keys, goes out, unkeys; its tag comes back, negative and long
  const float tones[] = {0, 8, 16, 24};
  floatArray* list = floatArray_create(4);
  std::memcpy(floatArray_data(list), tones, sizeof tones);
  JTModDemod_setsamplesPerSymbol(mode, 4800);
  for (const int32_t wanted : {-5, 2'147'483'647}) {
    // a file that a thread without a processor writes for a second gives way to the next one, and its tag is lost
    for (int tries = 0; tries < 5 && !anyWithTag(wanted); tries++) {
      ptts.clear();
      const size_t told = files.size();
      JTModDemod_queueMsg(mode, list, static_cast<uint32_t>(wanted));
      ASSERT_TRUE(streamUntil(*board, [told] { return ptts.size() >= 2 && files.size() >= told + 2; }));
      EXPECT_EQ(ptts, (std::vector<bool>{true, false}));
    }
    EXPECT_TRUE(anyWithTag(wanted));
  }
  floatArray_delete(list);

  // .c2, whose bytes hold the frequency
  files.clear();
  JTModDemod_setSaveMode(mode, 1);
  ASSERT_TRUE(streamUntil(*board, [] { return !files.empty() && files.back().find(".c2") != std::string::npos; }));
  const auto [c2, c2Tag] = nameAndTag(files.back());
  EXPECT_EQ(c2Tag, 8);
  const std::string bytes = contents(c2);
  ASSERT_EQ(bytes.size(), 26u + 4 * values);
  double frequency_MHz;
  std::memcpy(&frequency_MHz, bytes.data() + 18, sizeof frequency_MHz);
  EXPECT_EQ(frequency_MHz, 14'095'600 / 1e6);

  JTModDemod_bindnewFile(mode, nullptr);
  Radio_stop(base);
  JTModDemod_release(mode);
  vtrx_release(added);
  HpsdrRadio_release(radio);
  std::filesystem::remove_all(folder);
}
