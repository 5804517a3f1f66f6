#include "host/commands.h"
#include "host/multipskMode.h"
#include "host/multipskSession.h"
#include <memory>

namespace larchhost {

int multipskCommand(const multipskOptions& options) {
  std::string audioName;
  receiver first = chooseReceiver(options.receive, audioName);
  const auto mode = std::make_shared<multipskMode>(options.port);
  first.mode = mode;
  first.filter = {0, options.width_Hz / 2};
  first.muted = true; // both sides of the frequency at once: nothing to listen to unasked
  return multipskSession(options, chooseStation(options.receive, audioName), first, *mode, audioName).run();
}

} // namespace larchhost
