#include "host/boardProfile.h"
#include "host/commands.h"
#include "host/discovery.h"
#include <cstdio>
#include <fmt/format.h>

namespace larchhost {

int radiosCommand(const std::string& address, int wait_ms) {
  const auto found = discover(address, wait_ms);
  if (found.empty()) {
    fmt::print("no radio answers\n");
    return failure;
  }
  fmt::print("{:<16} {:<18} {:<9} {:<16} {:>8} {:>9}  {}\n", "address", "MAC", "protocol", "board", "firmware", "receivers",
             "state");
  for (const auto& r : found) {
    const boardProfile board = profileFor(r.protocol, r.board, r.firmware);
    fmt::print("{:<16} {:<18} {:<9} {:<16} {:>8} {:>9}  {}\n", r.address, macText(r.mac), r.protocol, board.name,
               fmt::format("{}.{}", r.firmware / 10, r.firmware % 10), r.receivers ? r.receivers : board.receivers,
               r.inUse ? "in use" : "idle");
  }
  return success;
}

} // namespace larchhost
