// The transceiver's side of a mode that sends text, without its chain.
#pragma once
#include "modes/modDemod.h"
#include "tests/runtime/testGroup.h"
#include <limits>
#include <string>
#include <vector>

namespace larch::test {

constexpr double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();

inline std::string sentText, heardText; // the host's functions know nothing but the text

struct fakeTransceiver : asyncObject {
  using asyncObject::asyncObject;
  property<bool> ptt{false};
};

template <class Mode> struct textModeTest : testing::Test {
  textModeTest() {
    sentText.clear();
    heardText.clear();
    mode->sentChars = [](const char* text) { sentText += text; };
    mode->owner.publish({transceiver, &transceiver->ptt});
  }
  void queue(const std::string& text) { mode->queueText(text, static_cast<uint32_t>(mode->text().sentCount())); }
  std::vector<std::complex<double>> modulate(size_t samples, size_t chunk = 512) {
    std::vector<std::complex<double>> sent;
    while (sent.size() < samples) {
      const auto n = static_cast<uint64_t>(std::min(chunk, samples - sent.size()));
      const cbuff in(n, std::complex<double>(nan, nan)), out(n, std::complex<double>(7, 7)); // the microphone isn't heard
      mode->modulate(in, out);
      sent.insert(sent.end(), out.data, out.data + n);
    }
    return sent;
  }
  void demodulate(const std::vector<std::complex<double>>& signal, size_t chunk = 512) {
    for (size_t at = 0; at < signal.size(); at += chunk) {
      const cbuff block(std::min(chunk, signal.size() - at));
      std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(at), block.count, block.data);
      mode->demodulate(block);
      if (at / chunk % 256 == 0) g.pool->getUpdates();
    }
  }
  std::string sent() {
    g.pool->getUpdates();
    return std::exchange(sentText, {});
  }
  std::string heard() {
    g.pool->getUpdates();
    return std::exchange(heardText, {});
  }

  testGroup g;
  std::shared_ptr<fakeTransceiver> transceiver =
      keptByCore(std::make_shared<fakeTransceiver>(std::make_shared<syncTask>(g.pool.get())));
  std::shared_ptr<Mode> mode = keptByCore(std::make_shared<Mode>(g.group));
};

} // namespace larch::test
