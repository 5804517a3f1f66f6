#include "host/signals.h"
#include <atomic>
#include <csignal>
#include <initializer_list>

namespace larchhost {
namespace {

std::atomic<bool> stop{false}; // these are set in signal handlers: lock-free
std::atomic<keyWish> wish{keyWish::none};
static_assert(decltype(wish)::is_always_lock_free);

void handle(std::initializer_list<int> signals, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  for (int s : signals) sigaction(s, &action, nullptr);
}

} // namespace

void catchSignals() {
  handle({SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGXCPU}, [](int) { stop = true; });
  handle({SIGPIPE, SIGXFSZ, SIGUSR1, SIGUSR2}, SIG_IGN);
}
bool stopWanted() { return stop; }

void ignoreStops() { handle({SIGTSTP, SIGTTIN, SIGTTOU}, SIG_IGN); }

void catchKeySignals() {
  handle({SIGUSR1, SIGUSR2}, [](int s) { wish = s == SIGUSR1 ? keyWish::key : keyWish::unkey; });
}
keyWish takeKeyWish() { return wish.exchange(keyWish::none); }

} // namespace larchhost
