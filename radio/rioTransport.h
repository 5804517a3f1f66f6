// Datagram transport of a radio: one UDP socket over a fixed block of receive and send slots, read and written in place.
#pragma once
#include "platform/pageBlock.h"
#include "platform/udpSocket.h"
#include <atomic>
#include <cstdint>
#include <vector>

namespace larch {

enum class transportShape {
  protocol1, // connected to the radio's port 1024, slots of 1032 bytes; sends follow receives, so each drain is prompt
  protocol2, // unconnected, slots of 2048 bytes with the sender's address; high rates are drained once a millisecond
};

// A receive slot is with the kernel (the free list), filled ahead and waiting, or out: handed to the caller until its release.
// Threads:
//  - create, connectRadio: the radio's group, create before the receive thread starts.
//  - waitReceive, releaseReceive: the receive thread only.
//  - allocateSend: any thread; sendData: the receive thread; send: any thread. 128 slots against the send rate are the whole
//    guarantee that a slot's datagram has left before the slot is used again.
// A failure is logged with errno and costs one datagram or the reception, nothing else; no operation throws. Nothing is
// allocated after create. A radio whose receive thread runs is never destroyed, nor is its transport.
class rioTransport {
 public:
  static constexpr uint16_t radioPort = 1024;
  static constexpr int sendSlots = 128;
  static constexpr int protocol2ReceiveSlots = 256;
  static constexpr int maxReceiveSlots = 1 << 16;      // a larger request gets this many
  static constexpr int64_t waitTime_ns = 10'000'000;   // of one waitReceive without traffic
  static constexpr int wantedReceiveBuffer = 16777216; // bytes; rides out a late reader

  explicit rioTransport(transportShape shape);

  // Once. `address` in network form; `receiveSlots` below 1 makes a transport that receives nothing. 0: ready. -2: no socket.
  // -3: no memory, nothing can be sent or received. -6 (protocol1): all set up, but the connect failed.
  int create(uint32_t address, int64_t receiveSlots = protocol2ReceiveSlots);
  // protocol1: connects again after a -6. 0 or errno; doesn't log.
  int connectRadio();

  // The next send slot, round-robin; -2, logged, when `length` exceeds the slot's size (which is 0 before create).
  int allocateSend(uint32_t length);
  // protocol1: the slot to the connected peer, as long as it was allocated. 0, or -1 and logged.
  int sendData(int index);
  // protocol2: the first `length` bytes of the slot to that port of the radio. 0, or -1 and logged.
  int send(int index, uint16_t port, uint32_t length);

  // The next datagram's slot, in order of arrival, or -1: after 10 ms without one, or (protocol2) 0.25 ms with all slots out. At
  // most `limit` datagrams are taken over at a time; with a limit below 1 nothing is.
  int waitReceive(int limit);
  // Back to the kernel, in any order. A slot that isn't out is logged and left as it is.
  void releaseReceive(int index);

  // Views of slots, valid while the slot is the caller's. Behind each slot lie a few bytes of slack that vector code may read.
  uint8_t* receiveData(int index) const { return data_ + stride_ * static_cast<std::size_t>(index); }
  uint32_t receiveLength(int index) const { return length_[static_cast<std::size_t>(index)]; } // of the datagram
  uint8_t* receiveAddress(int index) const { return receiveData(index) + slotBytes_ + slack; } // protocol2
  uint8_t* sendDataArea(int index) const { return sendArea_ + stride_ * static_cast<std::size_t>(index); }

  uint32_t slotSize() const { return slotBytes_; }
  int receiveSlots() const { return static_cast<int>(state_.size()); }
  int outOfKernel() const { return out_.load(std::memory_order_relaxed); }     // a count for display, nothing hangs on it
  int highWater() const { return highWater_.load(std::memory_order_relaxed); } // likewise
  int grantedReceiveBuffer() const { return grantedBuffer_; }                  // bytes, as the system counts
  int localPort() const { return socket_.localPort(); }

 private:
  enum class slotState : uint8_t { kernel, waiting, out };

  static constexpr uint32_t slack = 20;
  static constexpr int smallestBatch = 8;
  static constexpr int64_t coalesceTime_ns = 1'000'000;
  static constexpr int64_t slotWait_ns = 250'000; // with all slots out (protocol2)
  static constexpr double coalesceFrom = 4.0; // datagrams a millisecond

  bool unconnected() const { return shape_ == transportShape::protocol2; }
  void setUpSocket();
  bool setUpBlock(int64_t receiveSlots);
  int takeWaiting();
  int drain();
  void coalesce();
  void measureRate(int received);

  const transportShape shape_;
  udpSocket socket_;
  pageBlock block_;
  uint8_t* data_ = nullptr;     // receive slots, each: data, slack, address area (protocol2)
  uint8_t* sendArea_ = nullptr; // send slots, likewise
  uint32_t slotBytes_ = 0;      // 0 until create
  std::size_t stride_ = 0;      // bytes from slot to slot
  uint32_t address_ = 0;        // the radio's, network form
  int grantedBuffer_ = 0;

  std::vector<slotState> state_; // of the receive slots; the receive thread's, as all that follows down to the atomics
  std::vector<uint32_t> length_; // of what the slots were filled with, bytes
  std::vector<int> free_;        // stack: the slot used last is the warmest
  std::vector<int> waiting_;     // ring of slots filled ahead, in order of arrival
  std::size_t waitingHead_ = 0, waitingCount_ = 0;
  int entries_ = 0; // of the waiting ones, those taken over and not yet handed out
  int batch_ = smallestBatch;
  bool emptied_ = true; // the last drain found fewer than it had room for
  double rate_ = 0;     // datagrams a millisecond, smoothed
  int64_t lastDrain_ns_ = 0;

  std::atomic<int> out_{0}, highWater_{0};
  std::atomic<uint32_t> nextSend_{0};   // relaxed: only distinct values are wanted
  uint32_t sendLength_[sendSlots] = {}; // goes over to the sender with the slot's index
};

} // namespace larch
