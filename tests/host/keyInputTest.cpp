#include "host/keyInput.h"
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

using namespace larchhost;
using namespace std::chrono_literals;

namespace {

class keyInputTest : public testing::Test {
 protected:
  keyInputTest() {
    char name[] = "/tmp/larchKeyXXXXXX";
    folder_ = mkdtemp(name);
    path_ = folder_ / "key";
    EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
  }
  ~keyInputTest() override {
    hangUp();
    std::filesystem::remove_all(folder_);
  }
  void connect() { writer_ = open(path_.c_str(), O_WRONLY | O_NONBLOCK); }
  void hangUp() {
    if (writer_ >= 0) close(writer_);
    writer_ = -1;
  }
  static input_event record(uint16_t type, uint16_t code, int32_t value) {
    input_event e{};
    e.type = type;
    e.code = code;
    e.value = value;
    return e;
  }
  void send(uint16_t type, uint16_t code, int32_t value) { sendRaw(record(type, code, value), 0, sizeof(input_event)); }
  void sendRaw(const input_event& e, size_t from, size_t to) {
    ASSERT_EQ(write(writer_, reinterpret_cast<const char*>(&e) + from, to - from), static_cast<ssize_t>(to - from));
  }
  std::filesystem::path folder_, path_;
  int writer_ = -1;
};

std::string refusal(const std::string& device) {
  try {
    keyInput key(device);
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "opened";
}

TEST_F(keyInputTest, aKeyPressAndItsReleaseAreReported) {
  keyInput key(path_);
  EXPECT_FALSE(key.next()); // nobody writes yet
  connect();
  EXPECT_FALSE(key.next());
  send(EV_KEY, KEY_A, 1);
  send(EV_SYN, SYN_REPORT, 0);
  EXPECT_EQ(key.next(), true);
  EXPECT_FALSE(key.next());
  send(EV_KEY, KEY_A, 2); // held down
  EXPECT_FALSE(key.next());
  send(EV_KEY, KEY_A, 0);
  EXPECT_EQ(key.next(), false);
  EXPECT_FALSE(key.next());
}

TEST_F(keyInputTest, movementsThatWaitComeOneByOne) {
  keyInput key(path_);
  connect();
  for (int value : {1, 0, 1, 0}) send(EV_KEY, BTN_LEFT, value);
  for (bool down : {true, false, true, false}) EXPECT_EQ(key.next(), down);
  EXPECT_FALSE(key.next());
}

TEST_F(keyInputTest, theKeyIsDownAsLongAsOneOfTheDevicesKeysIs) {
  keyInput key(path_);
  connect();
  send(EV_KEY, KEY_A, 1);
  send(EV_KEY, KEY_B, 1);
  send(EV_KEY, KEY_A, 0);
  EXPECT_EQ(key.next(), true);
  EXPECT_FALSE(key.next());
  send(EV_KEY, KEY_B, 0);
  EXPECT_EQ(key.next(), false);
}

TEST_F(keyInputTest, otherRecordsAndWildValuesAreNoKey) {
  keyInput key(path_);
  connect();
  send(EV_REL, REL_X, 1);
  send(EV_KEY, KEY_CNT, 1);
  send(EV_KEY, 0xffff, 1);
  send(EV_KEY, KEY_A, 77);
  send(EV_KEY, KEY_A, -1);
  send(0xffff, KEY_A, 1);
  EXPECT_FALSE(key.next());
}

TEST_F(keyInputTest, anEndlessInputEndsTheCallAndLosesNothing) {
  keyInput key(path_);
  connect();
  for (int i = 0; i < 100; i++) send(EV_REL, REL_X, 1);
  send(EV_KEY, KEY_A, 1);
  EXPECT_FALSE(key.next());
  EXPECT_EQ(key.next(), true);
}

TEST_F(keyInputTest, aRecordMayComeInTwoPieces) {
  keyInput key(path_);
  connect();
  const auto press = record(EV_KEY, KEY_A, 1);
  sendRaw(press, 0, 7);
  EXPECT_FALSE(key.next());
  EXPECT_FALSE(key.next());
  sendRaw(press, 7, sizeof press);
  EXPECT_EQ(key.next(), true);
}

TEST_F(keyInputTest, aWriterThatGoesLiftsTheKeyAndTheNextBeginsAnew) {
  keyInput key(path_);
  connect();
  send(EV_KEY, KEY_A, 1);
  EXPECT_EQ(key.next(), true);
  sendRaw(record(EV_KEY, KEY_A, 1), 0, 5);
  hangUp();
  EXPECT_EQ(key.next(), false);
  EXPECT_FALSE(key.next());
  connect();
  send(EV_KEY, KEY_A, 1);
  EXPECT_EQ(key.next(), true);
}

TEST_F(keyInputTest, lostRecordsLiftTheKey) {
  keyInput key(path_);
  connect();
  send(EV_KEY, KEY_A, 1);
  EXPECT_EQ(key.next(), true);
  send(EV_SYN, SYN_DROPPED, 0);
  EXPECT_EQ(key.next(), false);
}

TEST_F(keyInputTest, whatIsNoKeyIsRefusedWithAReason) {
  EXPECT_NE(refusal(folder_ / "nothing").find("can't open the key"), std::string::npos);
  EXPECT_NE(refusal("/dev/null").find("is no key"), std::string::npos);
  EXPECT_NE(refusal(folder_).find("is no key"), std::string::npos);
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(terminal, 0);
  ASSERT_EQ(grantpt(terminal), 0);
  ASSERT_EQ(unlockpt(terminal), 0);
  EXPECT_NE(refusal(ptsname(terminal)).find("neither a serial line with a CTS input nor"), std::string::npos);
  close(terminal);
}

TEST_F(keyInputTest, aDeviceOfOthersIsToldAsSuch) {
  if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
  ASSERT_EQ(chmod(path_.c_str(), 0), 0);
  EXPECT_NE(refusal(path_).find("no permission"), std::string::npos);
}

TEST(keyContactTest, aChangeCountsAtOnceAndItsBounceDoesNot) {
  keyContact contact;
  const keyContact::clock::time_point start{1000s};
  EXPECT_FALSE(contact.change(false, start));
  EXPECT_TRUE(contact.change(true, start));
  EXPECT_FALSE(contact.change(false, start + 1ms));
  EXPECT_TRUE(contact.down());
  EXPECT_FALSE(contact.change(true, start + 2ms));
  EXPECT_TRUE(contact.change(false, start + keyContact::bounce));
  EXPECT_FALSE(contact.down());
}

} // namespace
