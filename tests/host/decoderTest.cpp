#include "host/decoderQueue.h"
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace larchhost {
namespace {

using namespace std::chrono_literals;
constexpr std::chrono::seconds patience{60};
constexpr auto pause = 2ms;

// Until the condition holds.
template <class condition> void waitFor(condition&& holds) {
  for (const auto end = decoderQueue::clock::now() + patience; !holds(); std::this_thread::sleep_for(pause))
    ASSERT_LT(decoderQueue::clock::now(), end);
}

std::vector<std::string> outputOf(decoderProcess& process) {
  std::vector<std::string> lines;
  waitFor([&] {
    const bool over = process.ended();
    for (auto& line : process.takeLines()) lines.push_back(std::move(line));
    return over;
  });
  return lines;
}

std::vector<decoderNews> newsOf(decoderQueue& queue) {
  std::vector<decoderNews> all;
  waitFor([&] {
    for (auto& news : queue.poll(decoderQueue::clock::now())) all.push_back(std::move(news));
    return queue.idle();
  });
  return all;
}

bool lives(pid_t process) { return ::kill(process, 0) == 0; }

TEST(decoderCommandTest, theFileIsOneWordWhereverItStands) {
  for (const char* file : {"a.wav", "a b.wav", "it's.wav", "$HOME `x` \"y\".wav", "a\\b.wav", "two\nlines.wav"})
    for (const char* command : {"printf '%s|' {} end", "printf '%s|' '{}' end", "printf '%s|' \"{}\" end"}) {
      decoderProcess process(decoderCommand(command, file));
      std::string text;
      for (const auto& line : outputOf(process)) text += (text.empty() ? "" : "\n") + line;
      EXPECT_EQ(text, std::string(file) + "|end|") << command;
    }
}

TEST(decoderCommandTest, eachPlaceIsFilledAndNothingElse) {
  EXPECT_EQ(decoderCommand("a {} {x} }{ x{}y", "f"), "a 'f' {x} }{ x'f'y");
  EXPECT_EQ(decoderCommand("a \\'{}", "f"), "a \\''f'");
  EXPECT_EQ(decoderCommand("a \"\\\"{}\"", "f"), "a \"\\\"\"'f'\"\"");
  EXPECT_EQ(decoderCommand("", "f"), "");
}

TEST(decoderProcessTest, linesOfBothOutputsCome) {
  decoderProcess process("echo one; echo two >&2; printf '\\033[31mred\\ttape\\r\\n'; printf last");
  EXPECT_EQ(outputOf(process), (std::vector<std::string>{"one", "two", "[31mred tape", "last"}));
  EXPECT_EQ(process.fault(), "");
}

TEST(decoderProcessTest, longLinesAreCutAndControlsAreNotKept) {
  decoderProcess process("head -c 2500 /dev/zero | tr '\\0' x; head -c 1000000 /dev/zero; echo end");
  const auto lines = outputOf(process);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], std::string(1000, 'x'));
  EXPECT_EQ(lines[1], std::string(1000, 'x'));
  EXPECT_EQ(lines[2], std::string(500, 'x') + "end");
}

TEST(decoderProcessTest, howItEndedIsTold) {
  decoderProcess status("exit 3"), ended("kill -KILL $$"), missing("/nowhere/decoder x");
  outputOf(status);
  outputOf(ended);
  EXPECT_EQ(status.fault(), "ended with status 3");
  EXPECT_EQ(ended.fault(), "was ended by signal 9");
  EXPECT_EQ(outputOf(missing).size(), 1u); // the shell's words
  EXPECT_EQ(missing.fault(), "ended with status 127");
}

TEST(decoderProcessTest, itHasNothingOfTheProgramBehindIt) {
  const int open = ::open("/dev/null", O_RDONLY); // without O_CLOEXEC
  signal(SIGPIPE, SIG_IGN);                       // would be inherited
  decoderProcess process("test -e /proc/self/fd/" + std::to_string(open) +
                         " && echo open; cat; (trap - PIPE; kill -PIPE $$) ; echo ignored");
  EXPECT_EQ(outputOf(process), std::vector<std::string>{});
  EXPECT_EQ(process.fault(), "was ended by signal 13");
  ::close(open);
}

TEST(decoderProcessTest, whatItLeavesBehindEndsWithIt) {
  decoderProcess process("sleep 1000 & echo $!");
  const auto lines = outputOf(process);
  ASSERT_EQ(lines.size(), 1u);
  const auto left = static_cast<pid_t>(std::stol(lines[0]));
  waitFor([&] { // gone, or a zombie that init hasn't taken yet
    std::ifstream stat("/proc/" + lines[0] + "/stat");
    std::string id, name, state;
    return !lives(left) || !(stat >> id >> name >> state) || state == "Z";
  });
}

TEST(decoderProcessTest, destroyedItIsKilledAndReaped) {
  pid_t running = 0;
  {
    decoderProcess process("trap '' TERM; echo $$; while :; do sleep 1000; done");
    waitFor([&] {
      for (const auto& line : process.takeLines()) running = static_cast<pid_t>(std::stol(line));
      return running > 0;
    });
    EXPECT_FALSE(process.ended());
  }
  EXPECT_FALSE(lives(running));
}

TEST(decoderQueueTest, linesComeWithTheNameOfTheirFile) {
  decoderQueue queue({"echo read {}; exit 2"});
  EXPECT_TRUE(queue.idle());
  queue.add("/tmp/a.wav", "a.wav");
  EXPECT_FALSE(queue.idle());
  const auto news = newsOf(queue);
  ASSERT_EQ(news.size(), 2u);
  EXPECT_EQ(news[0].file + " " + news[0].text, "a.wav read /tmp/a.wav");
  EXPECT_FALSE(news[0].fault);
  EXPECT_EQ(news[1].file + " " + news[1].text, "a.wav the decoder ended with status 2");
  EXPECT_TRUE(news[1].fault);
}

TEST(decoderQueueTest, noMoreRunAtOnceThanAsked) {
  decoderQueue queue({"echo {}; exec sleep 1000", 2});
  for (const char* name : {"a", "b", "c"}) queue.add(name, name);
  std::vector<std::string> begun;
  waitFor([&] {
    for (const auto& news : queue.poll(decoderQueue::clock::now())) begun.push_back(news.text);
    return begun.size() >= 2;
  });
  EXPECT_EQ(queue.running(), 2u);
  EXPECT_FALSE(queue.idle());
  queue.stop();
  EXPECT_TRUE(queue.idle());
}

TEST(decoderQueueTest, theOldestIsLeftOutWhenTooManyWait) {
  decoderQueue queue({"echo {}", 1});
  for (size_t i = 0; i < decoderQueue::mostWaiting + 2; i++) queue.add(std::to_string(i), std::to_string(i));
  const auto news = newsOf(queue);
  ASSERT_EQ(news.size(), decoderQueue::mostWaiting + 2);
  for (size_t i = 0; i < news.size(); i++) {
    EXPECT_EQ(news[i].fault, i < 2) << i;
    EXPECT_EQ(news[i].file, std::to_string(i));
    EXPECT_EQ(news[i].text, i < 2 ? "left out: the decoder doesn't keep up" : std::to_string(i));
  }
}

TEST(decoderQueueTest, aDecoderThatHangsIsToldAndEnded) {
  decoderQueue queue({"echo begun; exec sleep 1000", 1, 10s});
  const auto start = decoderQueue::clock::now();
  queue.add("a", "a");
  waitFor([&] { return !queue.poll(start).empty(); }); // it has begun
  EXPECT_TRUE(queue.poll(start + 9999ms).empty());
  const auto told = queue.poll(start + 10s);
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0].text, "the decoder hasn't ended within 10 s and is ended");
  EXPECT_TRUE(told[0].fault);
  std::vector<decoderNews> rest;
  waitFor([&] {
    for (auto& news : queue.poll(start + 10s)) rest.push_back(std::move(news));
    return queue.idle();
  });
  ASSERT_EQ(rest.size(), 1u);
  EXPECT_EQ(rest[0].text, "the decoder was ended by signal 15");
}

TEST(decoderQueueTest, oneThatDoesntListenIsKilled) {
  decoderQueue queue({"trap '' TERM; echo begun; while :; do sleep 1000; done", 1, 10s});
  const auto start = decoderQueue::clock::now();
  queue.add("a", "a");
  waitFor([&] { return !queue.poll(start).empty(); });
  queue.poll(start + 10s);
  queue.poll(start + 10s + decoderQueue::patience);
  std::vector<decoderNews> rest;
  waitFor([&] {
    for (auto& news : queue.poll(start + 10s + decoderQueue::patience)) rest.push_back(std::move(news));
    return queue.idle();
  });
  ASSERT_EQ(rest.size(), 1u);
  EXPECT_EQ(rest[0].text, "the decoder was ended by signal 9");
}

TEST(decoderQueueTest, withoutACommandThereIsNothingToDo) {
  decoderQueue queue({""});
  queue.add("a", "a");
  EXPECT_TRUE(queue.idle());
  EXPECT_TRUE(queue.poll(decoderQueue::clock::now()).empty());
}

} // namespace
} // namespace larchhost
