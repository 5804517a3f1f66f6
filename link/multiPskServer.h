// The TCP server of one MultiPSK link: a port, one client at a time.
#pragma once
#include "link/multiPskEvents.h"
#include "link/multiPskReader.h"
#include "runtime/asyncObject.h"
#include "runtime/spscRing.h"
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

namespace larch {

// Sockets are served on the network thread, which only posts tasks to the owner's group. A client has a number above 0; what is
// meant for one that has gone goes nowhere. Messages leave whole and in turn: while one waits for a slow client, samples are
// refused and up to mostReplies others wait. A network thread that comes late loses nothing as long as it isn't mostSamples
// blocks late.
class multiPskServer : public std::enable_shared_from_this<multiPskServer> {
 public:
  static constexpr int attempts = 20;
  static constexpr size_t mostReplies = 32;
  static constexpr uint32_t mostSamples = 8; // messages: 85 ms
  static constexpr int mostBadLengths = 10;  // log lines a client

  explicit multiPskServer(multiPskEvents to);
  ~multiPskServer();

  // Listens on the wildcard address, at the first number from `port` on that can be had; 0 asks the system for one. The number,
  // or the last one of 20 when none could be had, which has been logged; nothing when it listens already.
  std::optional<int32_t> open(std::weak_ptr<asyncObject> owner, int32_t port);
  // Any thread, once: when it returns the port can be had by others.
  void close();

  // Any thread. When too many wait the oldest frequency is lost, or the oldest one of other kinds.
  void reply(uint32_t client, buff<char> message);
  // One thread at a time; rt but for the wake-up of the network thread, a system call. sendSamples after takesSamples has said
  // yes.
  bool takesSamples() const;
  void sendSamples(uint32_t client, buff<char> message);

 private:
  using tcp = boost::asio::ip::tcp;
  using local = boost::asio::local::stream_protocol;
  using errorCode = boost::system::error_code;
  struct connection;
  using step = void (multiPskServer::*)();

  // with guard_ held
  bool listen(int32_t number);
  int32_t openedNumber(int32_t number);
  void startReading(const std::shared_ptr<connection>& c);
  void waitForSamples();
  void writeNext();
  buff<char> takeSamples(uint32_t client);

  // on the network thread
  void accept();
  void accepted(const std::shared_ptr<connection>& c, const errorCode& error);
  void read();
  void readSome(const std::shared_ptr<connection>& c, const errorCode& error, size_t bytes);
  void clientLost();
  void queueReply(uint32_t client, const buff<char>& message);
  void samplesCame(const errorCode& error);
  void wrote(const std::shared_ptr<connection>& c, const errorCode& error);
  void stillWriting(const std::shared_ptr<connection>& c, uint64_t write);
  void tell(const char* name, std::function<void(const multiPskTurn&)> event, step next);

  const multiPskEvents to_;
  std::weak_ptr<asyncObject> owner_;

  std::mutex guard_; // the sockets: the network thread, and who opens and closes. Never on the signal path
  tcp::acceptor acceptor_;
  std::shared_ptr<connection> client_; // null while none is there
  uint32_t clients_ = 0;               // so far
  std::optional<int32_t> claimed_;     // of portNumbers
  bool closed_ = false;

  // The way of samples, from the signal thread to the network thread; a byte from the far end to the near one wakes the latter.
  struct waitingSamples {
    uint32_t client;
    buff<char> message;
  };
  spscRing<waitingSamples, mostSamples + 1> samples_;
  std::atomic<uint32_t> samplesWaiting_{0}; // in the ring; release where the network thread has made room, acquire on the look
  std::atomic<bool> busy_{true};            // a client keeps a write waiting, or nobody is there; relaxed: the ring is the bound
  local::socket wakeNear_, wakeFar_;
  char wakeBytes_[16];
};

} // namespace larch
