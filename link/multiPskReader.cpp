#include "link/multiPskReader.h"
#include <utility>

namespace larch {
namespace {

// required: each byte is signed, so that the length is right only where none of them is above 127.
uint32_t signedSum(const char* bytes) {
  uint32_t sum = 0;
  for (int i = 3; i >= 0; i--) sum = (sum << 8) + static_cast<uint32_t>(static_cast<int8_t>(bytes[i]));
  return sum;
}

} // namespace

multiPskReader::event multiPskReader::took(uint32_t bytes) {
  received_ += bytes;
  if (received_ < expected_) return event::none;
  received_ = 0;
  if (readingHeader_) return headerCame();
  return event::message;
}

multiPskReader::event multiPskReader::headerCame() {
  readingHeader_ = false;
  expected_ = signedSum(buffer_.data);
  if (expected_ <= bufferBytes) return event::none;
  expected_ = bufferBytes; // required: what the message has beyond it is taken for a header
  return event::badLength;
}

buff<char> multiPskReader::takeMessage() {
  const buff<char> message = slice(std::exchange(buffer_, buff<char>(bufferBytes)), 0, expected_);
  expected_ = headerBytes;
  readingHeader_ = true;
  return message;
}

} // namespace larch
