#include "tests/support/testSoundCard.h"
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>

namespace larch::test {
namespace {

std::string buildFolder() {
  if (const char* given = std::getenv("LARCH_BINARY_DIR")) return given;
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

bool choose(const std::string& file) {
  static std::string chosen;
  if (chosen.empty()) {
    chosen = file;
    setenv("ALSA_CONFIG_PATH", (buildFolder() + "/" + file).c_str(), 1);
  }
  return chosen == file;
}

template <class F> F control(const char* name) {
  static void* plugin = dlopen((buildFolder() + "/libasound_module_pcm_larchloop.so").c_str(), RTLD_NOW);
  void* found = plugin ? dlsym(plugin, name) : nullptr;
  if (!found) throw std::runtime_error(std::string("no test sound card: ") + name);
  return reinterpret_cast<F>(found);
}
#define LARCHLOOP(name) control<decltype(&name)>(#name)

} // namespace

bool useSoundCards() { return choose("asound.conf"); }
bool useNoSoundCard() { return choose("asound-none.conf"); }

soundBusControl::soundBusControl(std::string bus) : bus_(std::move(bus)) {}
void soundBusControl::ppm(double value) const { LARCHLOOP(larchloop_ppm)(bus_.c_str(), value); }
void soundBusControl::stall(int milliseconds) const { LARCHLOOP(larchloop_stall)(bus_.c_str(), milliseconds); }
void soundBusControl::busy(bool on) const { LARCHLOOP(larchloop_busy)(bus_.c_str(), on); }
int64_t soundBusControl::now() const { return LARCHLOOP(larchloop_now)(); }
std::vector<float> soundBusControl::tap(int64_t at, int count) const {
  std::vector<float> heard(static_cast<size_t>(count));
  LARCHLOOP(larchloop_tap)(bus_.c_str(), at, heard.data(), count);
  return heard;
}
void soundBusControl::feed(int64_t at, const std::vector<float>& sound) const {
  LARCHLOOP(larchloop_feed)(bus_.c_str(), at, sound.data(), static_cast<int>(sound.size()));
}
int soundBusControl::openStreams() const { return LARCHLOOP(larchloop_open_count)(bus_.c_str()); }
int soundBusControl::period() const { return LARCHLOOP(larchloop_period)(bus_.c_str()); }

} // namespace larch::test
