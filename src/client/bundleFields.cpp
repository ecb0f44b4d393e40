#include "bundleFields.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "BHashTable.h"
#include "BString.h"
#include "memTrack.h"

BHashTable* newBundleTable() { return trackNew(new BHashTable(), "transaction bundle"); }

char* wholeBundleText(txn* t) {
  BString* text = t->bundle->toString();
  if (text == nullptr) return nullptr;
  int n = text->length();
  char* copy = static_cast<char*>(malloc(static_cast<size_t>(n) + 1));
  if (copy != nullptr) {
    if (n > 0) memcpy(copy, text->buffer(), static_cast<size_t>(n));
    copy[n] = '\0';
  }
  trackDelete(text);
  return copy;
}

bool sameTextNoCase(const char* a, const char* b) {
  return a != nullptr && b != nullptr && strcasecmp(a, b) == 0;
}
