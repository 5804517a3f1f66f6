// The reader of the MultiPSK link over any bytes in pieces of any size: it stays within its buffer, takes every byte once, and
// the pieces make no difference.
#include "link/multiPskMessages.h"
#include "link/multiPskReader.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace larch;

namespace {

constexpr std::size_t pieceSizes = 16; // at the front of the input, each a byte

struct cut {
  std::vector<std::string> messages;
  std::size_t badLengths = 0;
  int64_t frequencies = 0;
  bool operator==(const cut&) const = default;
};

void takeMessages(multiPskReader& reader, cut& found, multiPskReader::event event) {
  for (;;) {
    if (event == multiPskReader::event::badLength) found.badLengths++;
    if (event == multiPskReader::event::message) {
      const buff<char> message = reader.takeMessage();
      if (message.count > multiPskReader::bufferBytes) std::abort();
      found.messages.emplace_back(message.data, message.count);
      found.frequencies += multiPskRequestOf(message).frequency;
    }
    if (reader.missing() > multiPskReader::bufferBytes) std::abort();
    if (reader.missing() > 0) return;
    event = reader.took(0);
  }
}

template <class NextPiece> cut cutUp(const uint8_t* data, std::size_t size, NextPiece nextPiece) {
  multiPskReader reader;
  cut found;
  while (size > 0) {
    const std::size_t n = std::min({nextPiece(), size, std::size_t{reader.missing()}});
    std::memcpy(reader.place(), data, n); // beyond the buffer: the sanitizer's
    data += n;
    size -= n;
    takeMessages(reader, found, reader.took(static_cast<uint32_t>(n)));
  }
  return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size < pieceSizes) return 0;
  std::size_t piece = 0;
  const auto any = [&] { return std::max<std::size_t>(data[piece++ % pieceSizes], 1); };
  const uint8_t* bytes = data + pieceSizes;
  const cut pieces = cutUp(bytes, size - pieceSizes, any);
  if (!(pieces == cutUp(bytes, size - pieceSizes, [size] { return size; }))) std::abort();
  return 0;
}
