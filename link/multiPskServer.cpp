#include "link/multiPskServer.h"
#include "link/multiPskMessages.h"
#include "link/networkThread.h"
#include "link/portNumbers.h"
#include "runtime/log.h"
#include <algorithm>
#include <boost/asio/local/connect_pair.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <limits>
#include <utility>

namespace larch {

namespace asio = boost::asio;

constexpr int32_t anyPort = 0; // the system chooses: no number that two could compete for

struct multiPskServer::connection {
  explicit connection(uint32_t n) : socket(networkContext()), number(n) {}
  tcp::socket socket;
  const uint32_t number;
  multiPskReader reader;
  std::deque<buff<char>> replies; // that wait for a write
  bool writing = false;
  uint64_t writes = 0; // so far
  bool deaf = false;   // a write failed: nothing is sent any more
  bool lostReply = false;
  int badLengths = 0;

  void close() {
    errorCode ignored;
    socket.close(ignored);
  }
};

multiPskServer::multiPskServer(multiPskEvents to)
    : to_(std::move(to)), acceptor_(networkContext()), wakeNear_(networkContext()), wakeFar_(networkContext()) {}

multiPskServer::~multiPskServer() { takeSamples(0); }

// ---- the port

std::optional<int32_t> multiPskServer::open(std::weak_ptr<asyncObject> owner, int32_t port) {
  const std::lock_guard lock(guard_);
  if (closed_ || acceptor_.is_open()) return {};
  owner_ = std::move(owner);
  auto& numbers = portNumbers::shared();
  int32_t number = port;
  for (int i = 0; i < attempts; i++) {
    if (i > 0 && number < std::numeric_limits<int32_t>::max()) number++;
    if (number != anyPort) number = numbers.claim(number);
    if (listen(number)) return openedNumber(number);
    if (number != anyPort) numbers.giveBack(number);
  }
  return number;
}

bool multiPskServer::listen(int32_t number) {
  errorCode error;
  const auto failed = [&](const char* what) {
    if (error) logError("{} {} {}", what, error.message(), number);
    return static_cast<bool>(error);
  };
  if (number < 0 || number > std::numeric_limits<uint16_t>::max()) error = asio::error::invalid_argument;
  if (failed("bind")) return false;
  const tcp::endpoint wildcard(tcp::v4(), static_cast<uint16_t>(number));
  const auto tried = [&] {
    acceptor_.open(wildcard.protocol(), error);
    if (failed("open")) return false;
    acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
    if (failed("set_option")) return false;
    acceptor_.bind(wildcard, error);
    if (failed("bind")) return false;
    acceptor_.listen(1, error);
    if (failed("listen err")) return false;
    asio::local::connect_pair(wakeNear_, wakeFar_, error);
    return !failed("open");
  };
  if (tried()) return true;
  acceptor_.close(error);
  return false;
}

// The number in use; serves the port from now on.
int32_t multiPskServer::openedNumber(int32_t number) {
  errorCode ignored;
  wakeFar_.non_blocking(true, ignored);
  if (number == anyPort) {
    number = acceptor_.local_endpoint(ignored).port();
    portNumbers::shared().share(number);
  }
  claimed_ = number;
  waitForSamples();
  asio::post(networkContext(), [self = shared_from_this()] { self->accept(); });
  return number;
}

void multiPskServer::close() {
  const std::lock_guard lock(guard_);
  closed_ = true;
  errorCode ignored;
  acceptor_.close(ignored);
  // on its own thread: a write may be going on there, in pieces
  if (client_) asio::post(networkContext(), [c = client_] { c->close(); });
  wakeNear_.close(ignored);
  wakeFar_.close(ignored);
  if (claimed_) portNumbers::shared().giveBack(*claimed_);
}

// ---- clients and what they say

void multiPskServer::accept() {
  const std::lock_guard lock(guard_);
  if (closed_) return;
  auto c = std::make_shared<connection>(++clients_);
  auto& socket = c->socket;
  acceptor_.async_accept(socket, [self = shared_from_this(), c](const errorCode& error) { self->accepted(c, error); });
}

void multiPskServer::accepted(const std::shared_ptr<connection>& c, const errorCode& error) {
  {
    const std::lock_guard lock(guard_);
    if (closed_) return;
    if (error) return logError("tcp accept err {}", error.message());
    errorCode ignored;
    c->socket.set_option(tcp::no_delay(true), ignored);
    c->socket.set_option(asio::socket_base::keep_alive(true), ignored); // one that vanishes is missed some day
    client_ = c;
    busy_.store(false, std::memory_order_relaxed);
  }
  tell(
      "accept_handler", [this, number = c->number](const multiPskTurn& t) { to_.clientChanged(number, true, t); },
      &multiPskServer::read);
}

void multiPskServer::read() {
  const std::lock_guard lock(guard_);
  if (!closed_ && client_) startReading(client_);
}

void multiPskServer::startReading(const std::shared_ptr<connection>& c) {
  c->socket.async_read_some(
      asio::buffer(c->reader.place(), c->reader.missing()),
      [self = shared_from_this(), c](const errorCode& error, size_t bytes) { self->readSome(c, error, bytes); });
}

void multiPskServer::readSome(const std::shared_ptr<connection>& c, const errorCode& error, size_t bytes) {
  std::unique_lock lock(guard_);
  if (closed_) return;
  if (error) {
    logError("tcp read err {}", error.message());
    clientLost();
    lock.unlock();
    return tell(
        "read_data_err", [this, number = c->number](const multiPskTurn& t) { to_.clientChanged(number, false, t); },
        &multiPskServer::accept);
  }
  const auto event = c->reader.took(static_cast<uint32_t>(bytes));
  // a client that sends nothing but garbage doesn't fill the disk
  if (event == multiPskReader::event::badLength && c->badLengths++ < mostBadLengths) logError("tcp bad len");
  if (event != multiPskReader::event::message) return startReading(c);
  buff<char> message = c->reader.takeMessage();
  lock.unlock();
  tell(
      "read_handler 2", [this, message = std::move(message)](const multiPskTurn& t) { to_.messageCame(message, t); },
      &multiPskServer::read);
}

void multiPskServer::clientLost() {
  errorCode ignored;
  busy_.store(true, std::memory_order_relaxed);
  takeSamples(0);
  client_->socket.close(ignored);
  client_.reset();
}

// Without guard_: the last reference to the owner may go here, and its end closes this. The events use the owner, which the task
// keeps alive.
void multiPskServer::tell(const char* name, std::function<void(const multiPskTurn&)> event, step next) {
  const multiPskTurn t(nullptr, [self = shared_from_this(), next](void*) {
    asio::post(networkContext(), [self, next] { (self.get()->*next)(); });
  });
  if (const auto owner = owner_.lock()) {
    asyncObject& target = *owner;
    target.queueSeqProcess(seqTask([owner, event = std::move(event), t] { event(t); }, name));
  }
}

// ---- what is sent

void multiPskServer::reply(uint32_t client, buff<char> message) {
  asio::post(networkContext(),
             [self = shared_from_this(), client, message = std::move(message)] { self->queueReply(client, message); });
}

void multiPskServer::queueReply(uint32_t client, const buff<char>& message) {
  const std::lock_guard lock(guard_);
  if (closed_ || !client_ || client_->number != client || client_->deaf) return;
  auto& replies = client_->replies;
  if (replies.size() >= mostReplies) {
    const auto frequency = std::find_if(replies.begin(), replies.end(), multiPskIsTune);
    replies.erase(frequency != replies.end() ? frequency : replies.begin()); // what has been asked for goes last
    if (!std::exchange(client_->lostReply, true)) logError("tcp reply lost");
  }
  replies.push_back(message);
  if (!client_->writing) writeNext();
}

bool multiPskServer::takesSamples() const {
  return !busy_.load(std::memory_order_relaxed) && samplesWaiting_.load(std::memory_order_acquire) < mostSamples;
}

void multiPskServer::sendSamples(uint32_t client, buff<char> message) {
  samplesWaiting_.fetch_add(1, std::memory_order_relaxed); // before it can be taken; the ring hands it over
  samples_.emplace(client, std::move(message));
  errorCode ignored; // a full way has wake-ups enough
  wakeFar_.send(asio::buffer("", 1), 0, ignored);
}

void multiPskServer::waitForSamples() {
  wakeNear_.async_receive(asio::buffer(wakeBytes_),
                          [self = shared_from_this()](const errorCode& error, size_t) { self->samplesCame(error); });
}

void multiPskServer::samplesCame(const errorCode& error) {
  const std::lock_guard lock(guard_);
  if (closed_ || error) return;
  if (!client_ || client_->deaf)
    takeSamples(0);
  else if (!client_->writing)
    writeNext(); // otherwise behind the write
  waitForSamples();
}

// The next samples for this client, empty when there are none; those for others are dropped on the way.
buff<char> multiPskServer::takeSamples(uint32_t client) {
  while (waitingSamples* next = samples_.front()) {
    buff<char> message = std::move(next->message);
    const bool wanted = next->client == client;
    samples_.pop();
    samplesWaiting_.fetch_sub(1, std::memory_order_release);
    if (wanted) return message;
  }
  return {};
}

void multiPskServer::writeNext() {
  const auto c = client_;
  buff<char> message;
  if (c->replies.empty()) {
    message = takeSamples(c->number);
  } else {
    message = std::move(c->replies.front());
    c->replies.pop_front();
  }
  c->writing = message.count > 0;
  if (!c->writing) return;
  const auto bytes = asio::buffer(message.data, message.count);
  asio::async_write(
      c->socket, bytes,
      [self = shared_from_this(), c, message = std::move(message)](const errorCode& error, size_t) { self->wrote(c, error); });
  // behind the end of a write that the socket has taken whole: what is late then is this thread, not the client
  asio::post(networkContext(), [self = shared_from_this(), c, write = ++c->writes] { self->stillWriting(c, write); });
}

void multiPskServer::stillWriting(const std::shared_ptr<connection>& c, uint64_t write) {
  const std::lock_guard lock(guard_);
  if (c == client_ && c->writing && c->writes == write) busy_.store(true, std::memory_order_relaxed);
}

void multiPskServer::wrote(const std::shared_ptr<connection>& c, const errorCode& error) {
  const std::lock_guard lock(guard_);
  if (closed_ || c != client_) return;
  busy_.store(static_cast<bool>(error), std::memory_order_relaxed);
  if (!error) return writeNext();
  logError("tcp write err {}", error.message());
  c->deaf = true; // the reader will hear of it, too
  c->writing = false;
  c->replies.clear();
  takeSamples(0);
}

} // namespace larch
