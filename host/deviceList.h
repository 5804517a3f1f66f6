// The sound devices that the library knows.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larchhost {

struct soundDevice {
  int32_t id; // as vtrx_setaudioOutput or vtrx_setaudioInput takes it
  std::string name;
};
struct deviceLists {
  std::vector<soundDevice> outputs, inputs;
};

// Asks the library; needs init. Polls until the lists are complete.
deviceLists readDevices();
// The first device whose id is `text` or whose name contains it (case doesn't matter); "none" is -1.
std::optional<int32_t> findDevice(const std::vector<soundDevice>& devices, const std::string& text);

} // namespace larchhost
