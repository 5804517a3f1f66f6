// The types of the host's event callbacks that several modes share.
#pragma once
#include "dsp/buff.h"

namespace larch {

using hostText = void (*)(const char* text);        // bytes as they came from the air or the queue
using hostSamples = void (*)(buff<float>* samples); // a floatArray handle that the host owns

} // namespace larch
