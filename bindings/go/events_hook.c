// The C side of the event hook: the library calls the trampoline, which
// hands the event and the hook's cgo.Handle number to zvGoEvent.
#include <stdint.h>
#include <zelvanclient.h>

#include "_cgo_export.h"

static void zv_event_trampoline(const zelvan_event *event, void *hook) {
  zvGoEvent((zelvan_event *)event, (uintptr_t)hook);
}

int zv_set_event_handler(txn *t, uintptr_t hook) {
  return zelvanclient_set_event_handler(t, hook != 0 ? zv_event_trampoline : NULL, (void *)hook);
}
