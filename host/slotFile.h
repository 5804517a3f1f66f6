// What the library tells of a captured slot.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

namespace larchhost {

// The name comes directly followed by the decimal tag: "/tmp/211121_224500.wav8". The tag is a signed number of 32 bits.
struct slotFile {
  static constexpr int32_t nothingSent = 8;

  std::string path;
  int32_t tag = nothingSent;
  std::string name() const; // without the folder

  // extension: with its dot, as the file has it. Nothing for a text of another form.
  static std::optional<slotFile> parse(const std::string& told, const std::string& extension);
};

} // namespace larchhost
