// Exports of the runtime: the base object, rows of choices, the host's own object, the two polls.
#include "runtime/larchlib.h"
#include "runtime/Controller.h"
#include "runtime/ValueLabelItem.h"
#include "runtime/exportRows.h"

LARCH_LIFE(asyncObject)
LARCH_EVENT(asyncObject, Deleted, int32_t)
LARCH_EVENT(asyncObject, Echo, int32_t)
void asyncObject_Ping(asyncObject* h, int32_t value) {
  larch::queueOnObject<larch::asyncObject>(h, "asyncObject.Ping()", [value](larch::asyncObject& object) { object.ping(value); });
}

LARCH_LIFE(Controller)

LARCH_LIFE(ValueLabelItem)
LARCH_SCALAR(ValueLabelItem, Value, int32_t)
LARCH_TEXT(ValueLabelItem, Label)

void getUpdates(void) { larch::pool()->getUpdates(); }
void getRenderUpdates(void) { larch::pool()->getRenderUpdates(); }
