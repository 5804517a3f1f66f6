#include "host/commands.h"
#include "host/deviceList.h"
#include <cstdio>
#include <fmt/format.h>

namespace larchhost {

int devicesCommand() {
  const deviceLists lists = readDevices();
  fmt::print("outputs (48 kHz; \"-L\" asks for the least delay)\n");
  for (const auto& d : lists.outputs) fmt::print("  {:>5}  {}\n", d.id, d.name);
  fmt::print("inputs\n");
  for (const auto& d : lists.inputs) fmt::print("  {:>5}  {}\n", d.id, d.name);
  if (lists.outputs.size() <= 1) fmt::print("no sound card plays 48 kHz stereo here: reception runs without sound\n");
  return success;
}

} // namespace larchhost
