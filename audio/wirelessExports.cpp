// Exports of Wireless.
#include "runtime/larchlib.h"
#include "audio/Wireless.h"
#include "runtime/exportRows.h"

Wireless* Wireless_create(void) {
  return reinterpret_cast<Wireless*>(new larch::handle{larch::Wireless::create(larch::defaultGroup())});
}
void Wireless_release(Wireless* h) { larch::releaseHandle(h); }
void Wireless_Init(Wireless* h) {
  larch::queueOnObject<larch::Wireless>(h, "Wireless.Init()", [](larch::Wireless& object) { object.Init(); });
}
LARCH_COLLECTION(Wireless, DefaultMicEQ, calibLine)
LARCH_COLLECTION(Wireless, inputDevices, ValueLabelItem)
LARCH_COLLECTION(Wireless, outputDevices, ValueLabelItem)
