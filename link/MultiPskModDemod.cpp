#include "link/MultiPskModDemod.h"
#include "link/multiPskMessages.h"
#include "link/multiPskServer.h"
#include "modes/realAudio.h"
#include <utility>

namespace larch {

MultiPskModDemod::MultiPskModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)), server_(std::make_shared<multiPskServer>(whatToDo())), gain_(multiPskFirstGain) {}

// Both events come as tasks that hold this object. What they do waits for the transceiver's group, and the turn with it.
multiPskEvents MultiPskModDemod::whatToDo() {
  using turn = multiPskTurn;
  return {[this](uint32_t client, bool here, const turn& t) {
            onSignalGroup("multiPsk.client", [this, client, here, t](const modDemodOwner&) { clientChanged(client, here); });
          },
          [this](const buff<char>& message, const turn& t) {
            const auto request = multiPskRequestOf(message);
            onSignalGroup("multiPsk.message", [this, request, t](const modDemodOwner& held) { obey(request, held); });
          }};
}

MultiPskModDemod::~MultiPskModDemod() { server_->close(); }

buff<float> MultiPskModDemod::demodulate(const cbuff& block) {
  const uint32_t client = client_.load(std::memory_order_relaxed);
  if (sending.get()) {
    if (client != 0 && takesSamples())
      server_->sendSamples(client, multiPskSamples(block, gain_));
    else
      gain_ = multiPskHeldGain(block, gain_);
  }
  return realAudio(block);
}

bool MultiPskModDemod::takesSamples() const { return server_->takesSamples(); }

void MultiPskModDemod::vfoChanged(int32_t frequency) {
  const uint32_t client = client_.load(std::memory_order_relaxed);
  if (sending.get() && client != 0) server_->reply(client, multiPskTune(frequency));
}

void MultiPskModDemod::attached() {
  const int32_t wanted = port.get();
  const auto used = server_->open(weak_from_this(), wanted);
  if (used && *used != wanted) port.write(*used);
}

void MultiPskModDemod::clientChanged(uint32_t client, bool here) {
  client_.store(here ? client : 0, std::memory_order_relaxed);
  connected.write(here);
  if (!here) sending.write(false);
}

void MultiPskModDemod::obey(const multiPskRequest& request, const modDemodOwner& held) {
  using kind = multiPskRequest::kind;
  const uint32_t client = client_.load(std::memory_order_relaxed);
  const auto tune = [&] {
    if (held.vfo) held.vfo->write(request.frequency);
  };
  switch (request.wanted) {
  case kind::version: return server_->reply(client, multiPskVersion());
  case kind::capability: return server_->reply(client, multiPskCapability());
  case kind::start:
    tune(); // before `sending`, or the client would be told what it has just said
    return sending.write(true);
  case kind::tune: return tune();
  case kind::stop: return sending.write(false);
  case kind::none: return;
  }
}

} // namespace larch
