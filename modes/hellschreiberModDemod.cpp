#include "modes/hellschreiberModDemod.h"
#include "modes/realAudio.h"
#include "modes/textTransmission.h"

namespace larch {

hellschreiberModDemod::hellschreiberModDemod(std::shared_ptr<syncTask> group)
    : modDemod(std::move(group)), painter_([this] { return takeForTransmission(*this, text_, sentChars); }) {}

buff<float> hellschreiberModDemod::demodulate(const cbuff& block) { return realAudio(block); }

void hellschreiberModDemod::modulate(const cbuff& input, const cbuff& output) {
  static_cast<void>(input);
  painter_.produce(output, frequencyStep.get());
}

} // namespace larch
