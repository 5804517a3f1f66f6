// The timed-slot mode with a clock that the test moves, a transceiver that it keys, and a directory for its files.
#pragma once
#include "modes/JTModDemod.h"
#include "tests/modes/chirpCaptureTesting.h"
#include "tests/runtime/testGroup.h"
#include "tests/support/simulatedClock.h"
#include <cmath>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

namespace larch::test {

constexpr int64_t second_ns = 1'000'000'000;
// 2026-11-21 22:00:00 UTC: 20,778 days of 86,400 s since 1970 and 22 hours
constexpr int64_t fullHour_ns = (20'778LL * 86'400 + 22 * 3600) * second_ns;

inline std::vector<std::string> toldFiles; // what the host has been told, in its order

inline std::string bytesOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

struct JTModDemodTest : testing::Test {
  struct fakeTransceiver : asyncObject {
    using asyncObject::asyncObject;
    property<bool> ptt{false};
    property<int32_t> vfo{14'074'000};
  };
  static constexpr uint64_t chunkLength = 512;

  JTModDemodTest() {
    toldFiles.clear();
    mode->newFile = [](const char* text) { toldFiles.push_back(text); };
    mode->saveDirectory.set(directory.path.string() + "/");
    mode->owner.publish({transceiver, &transceiver->ptt, &transceiver->vfo});
  }

  int64_t now() const { return utcNow_ns(); }
  void setTime(double seconds) { clock.setTo_ns(fullHour_ns + std::llround(seconds * second_ns)); } // of the hour
  // One chunk as it comes, at the time that the clock shows; time goes on behind it, by a 93.75th of a second.
  buff<float> hear(const cbuff& chunk) {
    const buff<float> audio = mode->demodulate(chunk);
    samples_ += chunk.count;
    const int64_t passed = samples_ * second_ns / 48000;
    clock.advance_ns(passed - passed_);
    passed_ = passed;
    return audio;
  }
  void hear(int chunks, std::complex<double> value = {0.25, -0.5}) {
    for (int i = 0; i < chunks; i++) hear(cbuff(chunkLength, value));
  }
  cbuff send(uint64_t count) {
    const cbuff in(count, std::complex<double>(NAN, NAN)), out(count, std::complex<double>(7, 7)); // the microphone isn't heard
    mode->modulate(in, out);
    return out;
  }
  void queue(const std::vector<float>& tones, uint32_t tag) {
    buff<float> list(tones.size());
    std::copy(tones.begin(), tones.end(), list.data);
    mode->queueMsg(list, tag);
  }
  // What the host is told next, without time passing; "" when nothing comes.
  std::string nextFile() {
    const size_t before = taken_;
    awaitThat([&] {
      mode->demodulate(cbuff());
      g.pool->getUpdates();
      return toldFiles.size() > before;
    });
    return toldFiles.size() > before ? toldFiles[taken_++] : "";
  }
  std::string named(const std::string& name) const { return directory.path.string() + "/" + name; }
  std::string fileBytes(const std::string& name) const { return bytesOf(directory.path / name); }

  simulatedClock clock{fullHour_ns};
  emptyDirectory directory;
  testGroup g;
  std::shared_ptr<fakeTransceiver> transceiver =
      keptByCore(std::make_shared<fakeTransceiver>(std::make_shared<syncTask>(g.pool.get())));
  std::shared_ptr<JTModDemod> mode = keptByCore(std::make_shared<JTModDemod>(g.group));

 private:
  int64_t samples_ = 0, passed_ = 0;
  size_t taken_ = 0;
};

} // namespace larch::test
