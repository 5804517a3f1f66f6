#include "radio/rioTransport.h"
#include "platform/clock.h"
#include "runtime/log.h"
#include <algorithm>
#include <cerrno>
#include <cstring>

namespace larch {
namespace {

constexpr uint32_t protocol1SlotBytes = 1032;
constexpr uint32_t protocol2SlotBytes = 2048;
constexpr std::size_t slotAlignment = 16;
constexpr int noSocket = -2, noMemory = -3, notConnected = -6, tooLong = -2;
constexpr int failuresAtOnce = 2; // then the time is waited out

} // namespace

rioTransport::rioTransport(transportShape shape) : shape_(shape) {}

int rioTransport::create(uint32_t address, int64_t receiveSlots) {
  address_ = address;
  const int openError = socket_.open();
  if (openError) logError("Rio Invalid socket {}", openError);
  setUpSocket();
  const int connectError = unconnected() ? 0 : connectRadio();
  if (connectError) logError("create rio failed {} {}", connectError, connectError);
  if (!setUpBlock(receiveSlots)) return noMemory;
  if (openError) return noSocket;
  return connectError ? notConnected : 0;
}

int rioTransport::connectRadio() { return socket_.connect(address_, radioPort); }

void rioTransport::setUpSocket() {
  if (socket_.receiveBufferSize(grantedBuffer_)) logError("setsockopt ");
  if (socket_.setReceiveBufferSize(wantedReceiveBuffer)) logError("setsockopt 2 ");
  if (socket_.receiveBufferSize(grantedBuffer_)) logError("setsockopt 3");
  socket_.setExclusive();
  if (const int error = socket_.bindAny()) logError("Rio Bind Failure {}", error);
}

bool rioTransport::setUpBlock(int64_t receiveSlots) {
  const auto slots = static_cast<std::size_t>(std::clamp<int64_t>(receiveSlots, 0, maxReceiveSlots));
  const uint32_t bytes = unconnected() ? protocol2SlotBytes : protocol1SlotBytes;
  const std::size_t needed = bytes + slack + (unconnected() ? udpSocket::addressBytes : 0);
  stride_ = (needed + slotAlignment - 1) / slotAlignment * slotAlignment;
  if (block_.allocate(stride_ * (slots + sendSlots))) {
    logError("rio alloc failure");
    return false;
  }
  slotBytes_ = bytes;
  data_ = reinterpret_cast<uint8_t*>(block_.data());
  sendArea_ = data_ + stride_ * slots;
  state_.assign(slots, slotState::kernel);
  length_.assign(slots, 0);
  waiting_.resize(slots);
  free_.resize(slots);
  for (std::size_t i = 0; i < slots; i++) free_[i] = static_cast<int>(slots - 1 - i);
  return true;
}

int rioTransport::allocateSend(uint32_t length) {
  if (length > slotBytes_ || slotBytes_ == 0) {
    logError("RIOSend buffer too long {} {}", length, slotBytes_);
    return tooLong;
  }
  const auto index = static_cast<int>(nextSend_.fetch_add(1, std::memory_order_relaxed) % sendSlots);
  sendLength_[index] = length;
  return index;
}

int rioTransport::sendData(int index) {
  const int error = socket_.send(sendDataArea(index), sendLength_[index]);
  if (!error) return 0;
  logError("RIOSend err {}", error);
  return -1;
}

int rioTransport::send(int index, uint16_t port, uint32_t length) {
  uint8_t* data = sendDataArea(index);
  uint8_t* address = data + slotBytes_ + slack;
  udpSocket::writeAddress(address, address_, port);
  sendLength_[index] = std::min(length, slotBytes_);
  const int error = socket_.sendTo(data, sendLength_[index], address);
  if (!error) return 0;
  logError("RIOSend {}", error);
  return -1;
}

// Hands out the first of the slots that were taken over.
int rioTransport::takeWaiting() {
  entries_--;
  const int index = waiting_[waitingHead_];
  waitingHead_ = waitingHead_ + 1 == waiting_.size() ? 0 : waitingHead_ + 1;
  waitingCount_--;
  state_[static_cast<std::size_t>(index)] = slotState::out;
  const int out = out_.fetch_add(1, std::memory_order_relaxed) + 1;
  if (out > highWater_.load(std::memory_order_relaxed)) highWater_.store(out, std::memory_order_relaxed);
  return index;
}

int rioTransport::waitReceive(int limit) {
  for (int failures = 0; failures < failuresAtOnce;) {
    if (entries_ == 0) entries_ = static_cast<int>(std::min<int64_t>(static_cast<int64_t>(waitingCount_), std::max(limit, 0)));
    if (entries_ > 0) return takeWaiting();
    // With every slot out, or none wanted, waiting on the socket would spin; the caller releases between two calls.
    if (limit < 1 || free_.empty()) break;
    coalesce();
    const int woken = socket_.wait(waitTime_ns);
    const int received = woken > 0 ? drain() : 0;
    if (received == 0 && woken >= 0) return -1;
    if (woken < 0) logError("RIO getcompletionqueuestatus {}", -woken);
    if (received < 0) logError("RIODequeueCompletion {}", -received);
    if (received <= 0) failures++;
  }
  // A fast stream passes through all of its slots in a few milliseconds: they come back as soon.
  sleepFor_ns(unconnected() && limit > 0 && !state_.empty() && free_.empty() ? slotWait_ns : waitTime_ns);
  return -1;
}

// Reads what has come into free slots. Returns the number or -errno.
int rioTransport::drain() {
  udpSocket::place places[udpSocket::maxBatch];
  uint32_t lengths[udpSocket::maxBatch];
  const int count = std::min(batch_, static_cast<int>(free_.size()));
  for (int i = 0; i < count; i++) {
    const int slot = free_[free_.size() - 1 - static_cast<std::size_t>(i)];
    places[i] = {receiveData(slot), unconnected() ? receiveAddress(slot) : nullptr};
  }
  const int received = socket_.receive(places, count, slotBytes_, lengths);
  for (int i = 0; i < received; i++) {
    const int slot = free_.back();
    free_.pop_back();
    state_[static_cast<std::size_t>(slot)] = slotState::waiting;
    length_[static_cast<std::size_t>(slot)] = lengths[i];
    waiting_[(waitingHead_ + waitingCount_) % waiting_.size()] = slot;
    waitingCount_++;
  }
  emptied_ = received < count;
  batch_ = std::clamp(2 * received, smallestBatch, udpSocket::maxBatch);
  if (unconnected()) measureRate(received);
  return received;
}

// A wake-up costs as much as a dozen datagrams. Where nothing is sent in answer, a fast stream may gather for a while.
void rioTransport::coalesce() {
  if (!unconnected() || !emptied_ || rate_ < coalesceFrom) return;
  const int64_t rest = lastDrain_ns_ + coalesceTime_ns - monotonicNow_ns();
  if (rest > 0) sleepFor_ns(rest);
}

void rioTransport::measureRate(int received) {
  constexpr double millisecond_ns = 1e6, share = 0.125;
  constexpr int64_t shortest_ns = 1000;
  const int64_t now = monotonicNow_ns();
  const auto passed = static_cast<double>(std::max(now - lastDrain_ns_, shortest_ns));
  lastDrain_ns_ = now;
  rate_ += share * (std::max(received, 0) * millisecond_ns / passed - rate_);
}

void rioTransport::releaseReceive(int index) {
  const bool known = index >= 0 && index < receiveSlots();
  if (!known || state_[static_cast<std::size_t>(index)] != slotState::out) {
    if (unconnected())
      logError("RIOReceive2 {}", EINVAL);
    else
      logError("RIOReceive1 {}", EINVAL);
    return;
  }
  state_[static_cast<std::size_t>(index)] = slotState::kernel;
  free_.push_back(index);
  out_.fetch_sub(1, std::memory_order_relaxed);
}

} // namespace larch
