#include "audio/deviceLists.h"
#include "tests/radio/logCapture.h"
#include "tests/support/testSoundCard.h"
#include <gtest/gtest.h>
#include <map>
#include <set>

using namespace larch;
using namespace larch::test;

namespace {

struct fakeDevice {
  std::string name;
  int32_t inputs, outputs;
  std::set<int> inputRates, outputRates;
};

class fakeDevices : public soundDeviceSource {
 public:
  std::vector<fakeDevice> devices;
  int32_t failure = 0, input = -1, output = -1;

  int32_t count() override { return failure ? failure : static_cast<int32_t>(devices.size()); }
  soundDeviceInfo info(int32_t i) override { return {at(i).name, at(i).inputs, at(i).outputs}; }
  bool canRecord(int32_t i, double rate) override { return at(i).inputRates.count(static_cast<int>(rate)) > 0; }
  bool canPlay(int32_t i, double rate) override { return at(i).outputRates.count(static_cast<int>(rate)) > 0; }
  int32_t defaultInput() override { return input; }
  int32_t defaultOutput() override { return output; }

 private:
  fakeDevice& at(int32_t i) { return devices.at(static_cast<size_t>(i)); }
};

std::vector<std::string> names(const inputDeviceList& list) {
  std::vector<std::string> n;
  for (const auto& e : list.entries) n.push_back(e->name);
  return n;
}
std::vector<std::pair<std::string, int32_t>> rows(const std::vector<outputDevice>& list) {
  std::vector<std::pair<std::string, int32_t>> n;
  for (const auto& d : list) n.emplace_back(d.name, d.id);
  return n;
}
using idRows = std::vector<std::pair<std::string, int32_t>>;

} // namespace

TEST(deviceListsTest, withoutDevicesBothListsHoldOnlyNone) {
  fakeDevices source;
  const auto in = makeInputList(source);
  EXPECT_EQ(names(*in), std::vector<std::string>{"None"});
  EXPECT_EQ(in->noneIndex, 0);
  EXPECT_EQ(in->defaultIndex, 0);
  EXPECT_EQ(in->entries[0]->device, -1);
  EXPECT_EQ(in->entries[0]->sampleRate, 48000);
  EXPECT_EQ(rows(makeOutputList(source)), (idRows{{"None", -1}}));
}

TEST(deviceListsTest, failedCountIsLoggedAndLeavesNone) {
  logCapture log;
  fakeDevices source;
  source.failure = -9999;
  EXPECT_EQ(makeInputList(source)->entries.size(), 1u);
  EXPECT_EQ(makeOutputList(source).size(), 1u);
  EXPECT_EQ(log.times("Pa_CountDevices returned -9999"), 2);
  EXPECT_EQ(log.times("ERROR: Pa_CountDevices returned -9999"), 1);
}

TEST(deviceListsTest, deviceOf44100HzOnlyIsAnInputAndNoOutput) {
  fakeDevices source;
  source.devices = {{"old", 1, 2, {44100}, {44100}}};
  const auto in = makeInputList(source);
  ASSERT_EQ(in->entries.size(), 2u);
  EXPECT_EQ(in->entries[1]->sampleRate, 44100);
  EXPECT_EQ(makeOutputList(source).size(), 1u);
}

TEST(deviceListsTest, rateOf48000HzComesFirstAndOthersDontCount) {
  fakeDevices source;
  source.devices = {{"both", 2, 0, {44100, 48000}, {}}, {"studio", 2, 2, {96000}, {96000}}};
  const auto in = makeInputList(source);
  ASSERT_EQ(in->entries.size(), 2u);
  EXPECT_EQ(in->entries[1]->sampleRate, 48000);
}

TEST(deviceListsTest, inputEntriesKeepTheirDeviceAndTheDefaultIsAnIndexOfTheList) {
  fakeDevices source;
  source.devices = {
      {"speaker", 0, 2, {48000}, {48000}}, {"deaf", 1, 0, {}, {}}, {"mic", 1, 0, {48000}, {}}, {"line", 2, 0, {48000}, {}}};
  source.input = 3;
  const auto in = makeInputList(source);
  EXPECT_EQ(names(*in), (std::vector<std::string>{"None", "mic", "line"}));
  EXPECT_EQ(in->entries[1]->device, 2);
  EXPECT_EQ(in->entries[2]->device, 3);
  EXPECT_EQ(in->defaultIndex, 2);
  source.input = 1; // not in the list
  EXPECT_EQ(makeInputList(source)->defaultIndex, 0);
}

TEST(deviceListsTest, lowLatencyEntriesStandBehindAllOthersAndNoneHasNone) {
  fakeDevices source;
  source.devices = {{"a", 0, 1, {}, {}}, {"mic", 1, 0, {48000}, {48000}}, {"b", 0, 2, {}, {48000}}, {"X", 0, 8, {}, {48000}}};
  EXPECT_EQ(rows(makeOutputList(source)), (idRows{{"None", -1}, {"b", 2}, {"X", 3}, {"b-L", 1002}, {"X-L", 1003}}));
  for (const auto& d : makeOutputList(source)) EXPECT_EQ(d.sampleRate, 48000);
}

TEST(deviceListsTest, defaultOutputMustBeInTheList) {
  fakeDevices source;
  source.devices = {{"old", 0, 2, {}, {44100}}, {"X", 0, 2, {}, {48000}}};
  const auto list = makeOutputList(source);
  for (const auto& [wanted, expected] : std::map<int32_t, int32_t>{{0, -1}, {1, 1}, {-1, -1}, {7, -1}}) {
    source.output = wanted;
    EXPECT_EQ(defaultOutputOf(source, list), expected) << wanted;
  }
}

TEST(deviceListsTest, machineWithoutSoundCardStartsSilently) {
  if (!useNoSoundCard()) GTEST_SKIP() << "the sound library has been started with cards";
  testing::internal::CaptureStderr();
  EXPECT_EQ(names(inputDevices()), std::vector<std::string>{"None"});
  EXPECT_EQ(rows(outputDevices()), (idRows{{"None", -1}}));
  EXPECT_EQ(defaultOutputDevice(), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(deviceListsTest, realCardsAreListedAndNothingIsPrinted) {
  if (!useSoundCards()) GTEST_SKIP() << "the sound library has been started without cards";
  testing::internal::CaptureStderr();
  EXPECT_EQ(names(inputDevices()), (std::vector<std::string>{"None", "loop", "tight", "mic44", "fast", "default"}));
  EXPECT_EQ(inputDevices().entries[3]->sampleRate, 44100);
  EXPECT_EQ(inputDevices().entries[1]->sampleRate, 48000);
  EXPECT_EQ(inputDevices().defaultIndex, 5);
  EXPECT_EQ(rows(outputDevices()), (idRows{{"None", -1},
                                           {"loop", 0},
                                           {"tight", 1},
                                           {"fast", 3},
                                           {"default", 4},
                                           {"loop-L", 1000},
                                           {"tight-L", 1001},
                                           {"fast-L", 1003},
                                           {"default-L", 1004}}));
  EXPECT_EQ(defaultOutputDevice(), 4);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(&inputDevices(), &inputDevices()); // made once
  EXPECT_EQ(outputDevices().data(), outputDevices().data());
}
