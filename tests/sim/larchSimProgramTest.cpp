// The program larch-sim from outside.
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <gtest/gtest.h>
#include "sim/datagramSocket.h"
#include "sim/wavFile.h"
#include "tests/sim/protocol2TestHost.h"
#include "tests/sim/transmittingHost.h"
#include "tests/support/protocol1Vectors.h"

using namespace larch::simtest;
namespace vectors = larch::vectors;

namespace {
std::string programPath() {
  const char* folder = std::getenv("LARCH_BINARY_DIR");
  return folder == nullptr ? std::string() : std::string(folder) + "/larch-sim";
}

// a running larch-sim with its standard output on a pipe
class program {
 public:
  // before: of a command line that runs the program
  explicit program(std::vector<std::string> words, const std::vector<std::string>& before = {}) {
    words.insert(words.begin(), programPath());
    words.insert(words.begin(), before.begin(), before.end());
    std::vector<char*> arguments;
    for (std::string& w : words) arguments.push_back(w.data());
    arguments.push_back(nullptr);
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    EXPECT_EQ(posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    output = ends[0];
  }
  ~program() {
    if (!ended) kill(child, SIGKILL), waitpid(child, nullptr, 0);
    close(output);
  }
  program(const program&) = delete;
  program& operator=(const program&) = delete;

  // reads on until the text has come; false at the end of the output
  bool reads(const std::string& wanted) {
    char part[4096];
    while (text.find(wanted) == std::string::npos) {
      const ssize_t got = read(output, part, sizeof part);
      if (got <= 0) return false;
      text.append(part, static_cast<size_t>(got));
    }
    return true;
  }
  void send(int signal) const { kill(child, signal); }
  // the exit status, -1 when it ended by a signal
  int status() {
    int s = 0;
    waitpid(child, &s, 0);
    ended = true;
    return WIFEXITED(s) ? WEXITSTATUS(s) : -1;
  }
  uint16_t port() {
    EXPECT_TRUE(reads(", scene "));
    const size_t at = text.find("127.0.0.1:");
    return at == std::string::npos ? 0 : static_cast<uint16_t>(std::stoi(text.substr(at + 10)));
  }
  std::string text;

 private:
  pid_t child = 0;
  int output = -1;
  bool ended = false;
};

// The host pays for each datagram with one of its own until the condition holds.
void exchangeUntil(simHost& host, const std::function<bool()>& enough) {
  std::array<std::complex<double>, 126> z;
  z.fill({0, 0.5});
  constexpr int most = 20000;
  for (int i = 0; i < most && !enough(); ++i) {
    ASSERT_EQ(host.receive(10000).size(), 1032u);
    host.send(transmitDatagram(host.sequence++, registerCommand(1, 7100000), registerCommand(4, 0), true, z.data()));
  }
  EXPECT_TRUE(enough());
}

class larchSimProgramTest : public testing::Test {
 protected:
  void SetUp() override {
    if (programPath().empty() || !std::filesystem::exists(programPath())) GTEST_SKIP() << "no larch-sim at LARCH_BINARY_DIR";
  }
};
} // namespace

TEST_F(larchSimProgramTest, playsUntilInterrupted) {
  for (const int signal : {SIGINT, SIGTERM}) {
    program sim({"--port", "0", "--scene", "carriers", "--verbose"});
    simHost host("127.0.0.1", sim.port());
    host.send(vectors::discovery());
    EXPECT_EQ(host.receive(5000).size(), 60u);
    host.configure(2, 2);
    host.tune(0, 7100000);
    host.start();
    for (int i = 0; i < 100; ++i) ASSERT_EQ(host.receive(5000).size(), 1032u);
    EXPECT_TRUE(sim.reads("register 2 receiver frequency: receiver 0 at 7100000 Hz"));
    EXPECT_TRUE(sim.reads("192000 Hz x 2")); // the status line
    sim.send(signal);
    EXPECT_TRUE(sim.reads("problems: none"));
    EXPECT_EQ(sim.status(), 0) << sim.text;
  }
}

TEST_F(larchSimProgramTest, endsAfterItsSeconds) {
  program sim({"--port", "0", "--scene", "none", "--seconds", "0.2"});
  EXPECT_TRUE(sim.reads("received 0"));
  EXPECT_EQ(sim.status(), 0);
}

TEST_F(larchSimProgramTest, goesSilentAndComesBack) {
  program sim({"--port", "0", "--scene", "none", "--silence", "2", "1", "--quiet"});
  simHost host("127.0.0.1", sim.port());
  host.configure(3, 1);
  host.start(1);
  uint32_t last = 0, gap = 0;
  for (int i = 0; i < 20000 && gap < 1000; ++i) { // 3048 a second
    const bytes d = host.receive(10000);
    ASSERT_EQ(d.size(), 1032u);
    gap = sequenceOf(d) - last;
    last = sequenceOf(d);
  }
  EXPECT_GE(gap, 1000u); // numbers went on
}

TEST_F(larchSimProgramTest, putsTheTransmissionBackOnTheBand) {
  program sim({"--port", "0", "--scene", "none", "--board", "hermes", "--tx-back", "0.2", "--tx-back-level", "-6", "--quiet"});
  simHost host("127.0.0.1", sim.port());
  host.configure(0, 1);
  host.tune(0, 7100000);
  host.start(1);
  // a carrier of half of full scale until it comes back; each datagram pays for one
  std::array<std::complex<double>, 126> z;
  z.fill(0.5);
  double loudest = -300, first = -1;
  for (int i = 0; i < 2000 && loudest < -12.1; ++i) {
    const bytes d = host.receive(10000);
    ASSERT_EQ(d.size(), 1032u);
    samples heard;
    appendSamples(d, 1, 0, heard);
    loudest = std::max(loudest, dB(dftAt(heard, -300, 48000)));
    if (first < 0 && loudest > -60) first = i;
    host.send(transmitDatagram(host.sequence++, registerCommand(1, 7100300), registerCommand(4, 0), true, z.data()));
  }
  EXPECT_NEAR(loudest, -12.04, 0.1);
  EXPECT_GE(first, 76); // 0.2 s
}

TEST_F(larchSimProgramTest, measuresAndRecordsTransmissionsHoweverItEnds) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const std::string path = testing::TempDir() + "larchSim" + std::to_string(getpid()) + ".wav";
    std::filesystem::remove(path);
    program sim({"--port", "0", "--scene", "none", "--record-tx", path});
    simHost host("127.0.0.1", sim.port());
    host.configure(0, 1);
    host.start(1);
    std::array<std::complex<double>, 126> z;
    z.fill({0, 0.5});
    for (int i = 0; i < 420; ++i) { // a second and a bit
      ASSERT_EQ(host.receive(10000).size(), 1032u);
      host.send(transmitDatagram(host.sequence++, registerCommand(1, 7100000), registerCommand(4, 0), true, z.data()));
    }
    EXPECT_TRUE(sim.reads("MOX 7100000 Hz peak -6.0 dBFS, mean -6.0 dBFS, 99 % in ")) << sim.text;
    sim.send(signal); // before the transmission is over
    EXPECT_TRUE(sim.reads("transmission at "));
    EXPECT_TRUE(sim.reads("s on 7100000 Hz, filters 0x00, drive 0, peak -6.0 dBFS, mean -6.0 dBFS, 99 % in "));
    EXPECT_TRUE(sim.reads("problems: none"));
    EXPECT_EQ(sim.status(), 0) << sim.text;
    const larch::sim::wavData wav = larch::sim::readWav(path);
    EXPECT_GE(wav.frames(), 400u * 126); // all but what was still on its way
    EXPECT_LE(wav.frames(), 421u * 126);
    EXPECT_NEAR(wav.samples.back(), -0.5, 1e-4);
    std::filesystem::remove(path);
  }
}

TEST_F(larchSimProgramTest, recordsWhileItRuns) {
  const std::string path = testing::TempDir() + "larchSimRuns" + std::to_string(getpid()) + ".wav";
  std::filesystem::remove(path);
  program sim({"--port", "0", "--scene", "none", "--quiet", "--record-tx", path});
  simHost host("127.0.0.1", sim.port());
  host.configure(0, 1);
  host.start(1);
  exchangeUntil(host, [&] { return larch::sim::readWav(path).frames() >= 50u * 126; });
  sim.send(SIGKILL);
  EXPECT_EQ(sim.status(), -1);
  EXPECT_GE(larch::sim::readWav(path).frames(), 50u * 126);
  std::filesystem::remove(path);
}

// A file that may not grow stands for a full disk.
TEST_F(larchSimProgramTest, aFullDiskEndsTheRecordingAlone) {
  const std::string path = testing::TempDir() + "larchSimFull" + std::to_string(getpid()) + ".wav";
  std::filesystem::remove(path);
  program sim({"--port", "0", "--scene", "none", "--quiet", "--record-tx", path},
              {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 64; exec \"$0\" \"$@\""});
  simHost host("127.0.0.1", sim.port());
  host.configure(0, 1);
  host.start(1);
  exchangeUntil(host, [&] { return std::filesystem::file_size(path) >= 32768; });
  EXPECT_TRUE(sim.reads(path + ": can't be written: File too large; the recording ends here")) << sim.text;
  int more = 0;
  exchangeUntil(host, [&] { return ++more > 200; }); // the radio goes on
  EXPECT_EQ(larch::sim::readWav(path).frames(), (32768u - 44) / 4);
  sim.send(SIGINT);
  EXPECT_TRUE(sim.reads("problems: none"));
  EXPECT_EQ(sim.status(), 1) << sim.text;
  std::filesystem::remove(path);
}

TEST_F(larchSimProgramTest, isAProtocol2RadioThatNamesWhatItIsTold) {
  const std::string address = larch::sim::nextLoopbackAddress();
  program sim({"--protocol", "2", "--bind", address, "--scene", "carriers", "--receivers", "16", "--verbose"});
  ASSERT_TRUE(sim.reads("saturn at " + address + ":1024, scene carriers"));
  protocol2TestHost host(address);
  host.receivers.assign(16, {192, 7100000});
  host.start();
  EXPECT_TRUE(sim.reads("general packet, wideband packets a frame: 32")) << sim.text;
  EXPECT_TRUE(sim.reads("down-converter packet, receiver 15 rate: 192 kHz"));
  EXPECT_TRUE(sim.reads("high-priority packet, state: run"));
  for (int i = 0; i < 20; ++i) EXPECT_NE(host.receive(10000).port, 0);
  EXPECT_TRUE(sim.reads("192000 Hz x 16")); // the status line
  sim.send(SIGINT);
  EXPECT_TRUE(sim.reads("received 1 general, 1 down-converter, 0 up-converter and 1 high-priority packets; problems: none"))
      << sim.text;
  EXPECT_EQ(sim.status(), 0);
  program busy({"--protocol", "2", "--port", "1025"});
  EXPECT_TRUE(busy.reads("the ports of Protocol 2 are fixed"));
  EXPECT_EQ(busy.status(), 1);
  program sends({"--protocol", "2", "--tx-back", "1"});
  EXPECT_TRUE(sends.reads("a Protocol 2 radio takes no transmission"));
  program board({"--protocol", "2", "--board", "metis"});
  EXPECT_TRUE(board.reads("no board 'metis' with Protocol 2"));
}

TEST_F(larchSimProgramTest, refusesWhatItCantDo) {
  program noFile({"--port", "0", "--scene", "none", "--record-tx", "/dev/full"});
  EXPECT_TRUE(noFile.reads("/dev/full: can't be written: No space left on device"));
  EXPECT_EQ(noFile.status(), 1);
  program sim({"--port", "0", "--scene", "none"});
  program second({"--port", std::to_string(sim.port()), "--scene", "none"});
  EXPECT_TRUE(second.reads("can't bind 127.0.0.1:"));
  EXPECT_EQ(second.status(), 1);
  program noScene({"--port", "0", "--scene", "/no/such/scene"});
  EXPECT_TRUE(noScene.reads("/no/such/scene: can't be opened"));
  EXPECT_EQ(noScene.status(), 1);
  program noBoard({"--board", "spoon"});
  EXPECT_NE(noBoard.status(), 0);
}
