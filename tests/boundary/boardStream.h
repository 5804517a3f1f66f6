// The stream of a simulated board, as fast as the library answers.
#pragma once
#include "sim/protocol1Radio.h"
#include "tests/boundary/testHost.h"

// Lets so many datagrams of the board come, at 48 kHz each pays for one, as fast as the library answers; a few answers may be on
// their way. False: they stayed away.
inline bool stream(larch::sim::protocol1Radio& board, uint64_t datagrams) {
  constexpr uint64_t batch = 16, onTheirWay = 24;
  const uint64_t answered = board.report().dataReceived;
  for (uint64_t sent = batch; sent <= datagrams; sent += batch) {
    board.emit(batch);
    if (!testHost::pollUntil([&] {
          board.poll();
          getRenderUpdates();
          return board.report().dataReceived + onTheirWay >= answered + sent;
        }))
      return false;
  }
  return true;
}
