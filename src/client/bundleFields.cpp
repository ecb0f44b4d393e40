#include "bundleFields.h"

#include <strings.h>

#include "BHashTable.h"

bool hasField(txn* t, const char* key) { return t->bundle->contains(key); }

void storeFailure(txn* t, const char* error) {
  t->bundle->put("ERROR", error);
  t->bundle->put("RESULT", "-1");
}

bool sameTextNoCase(const char* a, const char* b) {
  return a != nullptr && b != nullptr && strcasecmp(a, b) == 0;
}
