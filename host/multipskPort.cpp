#include "host/multipskPort.h"
#include <cstdlib>
#include <filesystem>
#include <netinet/in.h>
#include <sys/socket.h>

namespace larchhost {
namespace {

bool isListenerAt(int file, int32_t port) {
  int listens = 0;
  socklen_t size = sizeof listens;
  if (getsockopt(file, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) != 0 || !listens) return false;
  sockaddr_in at{};
  size = sizeof at;
  if (getsockname(file, reinterpret_cast<sockaddr*>(&at), &size) != 0 || at.sin_family != AF_INET) return false;
  return ntohs(at.sin_port) == port;
}

} // namespace

bool listensAt(int32_t port) {
  std::error_code unknown;
  auto file = std::filesystem::directory_iterator("/proc/self/fd", unknown);
  if (unknown) return true;
  for (const auto end = std::filesystem::directory_iterator(); !unknown && file != end; file.increment(unknown))
    if (isListenerAt(std::atoi(file->path().filename().c_str()), port)) return true;
  return static_cast<bool>(unknown);
}

} // namespace larchhost
