// The process may end at any moment: with objects alive, a running radio and open sound streams.
#include "sim/bandScene.h"
#include "sim/protocol1Radio.h"
#include "sim/protocol2Radio.h"
#include "tests/boundary/childProcess.h"
#include "tests/boundary/testHost.h"
#include <algorithm>
#include <gtest/gtest.h>

using namespace testHost;

namespace {

constexpr int usualEnds = 17; // of each kind, six kinds; LARCH_EXITS asks for another number

int ends() {
  const char* wanted = std::getenv("LARCH_EXITS");
  return wanted ? std::atoi(wanted) : usualEnds;
}

// One end; "" when it was a good one.
std::string endOf(const std::string& how, int signalNumber, const std::string& radio) {
  const std::string log = temporaryPath("exit.txt");
  std::vector<std::string> command = {LARCH_BINARY_FOLDER "/larch-exit-child", how, log, "0"};
  if (!radio.empty()) command.push_back(radio);
  childProcess child(command, {"ALSA_CONFIG_PATH=" LARCH_BINARY_FOLDER "/asound.conf"});
  if (!child.waitFor("ready", patience)) return "not ready: " + child.output() + contents(log);
  if (!radio.empty() &&
      (child.output().find("output -1") != std::string::npos || child.output().find("input 0") != std::string::npos)) {
    return "no sound device: " + child.output();
  }
  if (signalNumber != 0) child.signal(signalNumber);
  const int status = child.end(patience);
  const std::string lines = contents(log);
  unlink(log.c_str());
  if (status == -1) return "hangs: " + child.output();
  const bool good =
      signalNumber ? WIFSIGNALED(status) && WTERMSIG(status) == signalNumber : WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (!good) return "status " + std::to_string(status) + ": " + child.output();
  if (child.output().find("Sanitizer") != std::string::npos || child.output().find("terminate") != std::string::npos) {
    return child.output();
  }
  return "";
}

struct exitTest : testing::TestWithParam<std::pair<const char*, int>> {};

} // namespace

TEST_P(exitTest, endsWithARunningRadioAndOpenStreams) {
  auto scene = std::make_shared<larch::sim::bandScene>();
  scene->addCarrier(7101000, -20);
  const auto radio = larch::sim::protocol1Radio::onFreeLoopback({}, scene);
  radio->run();
  for (int i = 0; i < ends(); i++) {
    EXPECT_EQ(endOf(GetParam().first, GetParam().second, radio->address()), "") << "end " << i;
  }
  EXPECT_GE(radio->report().starts, static_cast<uint64_t>(ends()));
}

TEST_P(exitTest, endsWithARunningRadioOfTheOtherProtocol) {
  auto scene = std::make_shared<larch::sim::bandScene>();
  scene->addCarrier(7101000, -20);
  const auto radio = larch::sim::protocol2Radio::onFreeLoopback({}, scene);
  radio->run();
  const int count = (ends() + 3) / 4;
  for (int i = 0; i < count; i++) {
    EXPECT_EQ(endOf(GetParam().first, GetParam().second, "2:" + radio->address()), "") << "end " << i;
  }
  EXPECT_GE(radio->report().takeovers + radio->report().starts, static_cast<uint64_t>(count));
}

TEST_P(exitTest, endsWithATransceiverWithoutARadio) {
  for (int i = 0; i < ends(); i++) EXPECT_EQ(endOf(GetParam().first, GetParam().second, ""), "") << "end " << i;
}

INSTANTIATE_TEST_SUITE_P(all, exitTest,
                         testing::Values(std::pair("return", 0), std::pair("exit", 0), std::pair("thread", 0),
                                         std::pair("callback", 0), std::pair("wait", SIGTERM), std::pair("wait", SIGINT)),
                         [](const auto& p) {
                           const std::string signal = p.param.second == SIGTERM  ? "Sigterm"
                                                      : p.param.second == SIGINT ? "Sigint"
                                                                                 : "";
                           return p.param.first + signal;
                         });

TEST(exitAtOnceTest, endsWithoutAPoll) {
  for (int i = 0; i < ends(); i++) EXPECT_EQ(endOf("quit", 0, ""), "") << "end " << i;
}

TEST(exitWithAClientTest, endsWhileSamplesGoOverTheLink) {
  const auto radio = larch::sim::protocol1Radio::onFreeLoopback({}, std::make_shared<larch::sim::bandScene>());
  radio->run();
  const std::pair<const char*, int> kinds[] = {{"link-return", 0}, {"link-exit", 0}, {"link-thread", 0}, {"link-wait", SIGTERM}};
  for (int i = 0; i < ends(); i++) {
    const auto& [how, signal] = kinds[static_cast<size_t>(i) % std::size(kinds)];
    EXPECT_EQ(endOf(how, signal, radio->address()), "") << how << ", end " << i;
  }
}

// ---- what the second argument of init chooses

namespace {

std::string logOfAStart(const std::string& logMode, const std::string& present) {
  const std::string log = temporaryPath("level.txt");
  std::ofstream(log) << present;
  childProcess child({LARCH_BINARY_FOLDER "/larch-exit-child", "return", log, logMode},
                     {"ALSA_CONFIG_PATH=" LARCH_BINARY_FOLDER "/asound.conf"});
  EXPECT_EQ(child.end(patience), 0) << child.output();
  const std::string lines = contents(log);
  unlink(log.c_str());
  return lines;
}

} // namespace

TEST(initTest, modeOneLogsInformationAndErrors) {
  const std::string log = logOfAStart("1", "");
  EXPECT_EQ(count(log, "[mainlog] [info] pa_start "), 1u) << log;
  EXPECT_GE(count(log, "[mainlog] [error] getUpdates bad_function_call\r\n"), 1u) << log;
  EXPECT_EQ(count(log, "\n"), count(log, "\r\n"));
}

TEST(initTest, anyOtherModeLogsErrorsOnly) {
  for (const char* mode : {"0", "2", "-1"}) {
    const std::string log = logOfAStart(mode, "");
    EXPECT_EQ(count(log, "[info]"), 0u) << log;
    EXPECT_GE(count(log, "[mainlog] [error] getUpdates bad_function_call\r\n"), 1u) << log;
  }
}

TEST(initTest, theLogIsAppendedTo) {
  const std::string log = logOfAStart("0", "of an earlier run\r\n");
  EXPECT_EQ(log.rfind("of an earlier run\r\n[", 0), 0u) << log;
}
