#include "host/slotFile.h"
#include <charconv>

namespace larchhost {

// The last place at which the extension stands: digits hold no dot, folders may.
std::optional<slotFile> slotFile::parse(const std::string& told, const std::string& extension) {
  const size_t at = told.rfind(extension);
  if (at == std::string::npos || extension.empty()) return {};
  const char *begin = told.data() + at + extension.size(), *end = told.data() + told.size();
  slotFile file{told.substr(0, at + extension.size()), 0};
  const auto [stop, error] = std::from_chars(begin, end, file.tag);
  if (error != std::errc() || stop != end) return {};
  return file;
}

std::string slotFile::name() const { return path.substr(path.rfind('/') + 1); }

} // namespace larchhost
