#include "modes/proxyModDemod.h"
#include "modes/realAudio.h"

namespace larch {

buff<float> proxyModDemod::demodulate(const cbuff& block) {
  if (const auto host = loadWord(rxChunk)) host(new cbuff(block));
  return realAudio(block);
}

void proxyModDemod::modulate(const cbuff& input, const cbuff& output) {
  if (const auto host = loadWord(getTxChunk)) host(new cbuff(output), new cbuff(input));
}

} // namespace larch
