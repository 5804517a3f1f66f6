/* The smallest host: it hears its own echo. */
#include <larchlib.h>
#include <stdio.h>
static int heard, deleted;
static void onEcho(int32_t value) { heard = value; }
static void onDeleted(int32_t value) { deleted = value; }
int main(int argc, char** argv) {
  asyncObject* object;
  init(argc > 1 ? argv[1] : "host.log", 0);
  object = asyncObject_create();
  asyncObject_bindEcho(object, onEcho);
  asyncObject_bindDeleted(object, onDeleted);
  asyncObject_Ping(object, 7);
  while (heard == 0) getUpdates();
  asyncObject_release(object);
  while (deleted == 0) getUpdates();
  printf("echo %d\n", heard);
  return heard == 7 ? 0 : 1;
}
