#include "cardData.h"

#include <cstring>

#include "BHashTable.h"
#include "bundleFields.h"
#include "bundleKeys.h"

namespace {

const int kShortestPan = 13;
const int kLongestPan = 20;
const int kKeptAtStart = 6;
const int kKeptAtEnd = 4;
const int kMostAsterisks = 40;

}  // namespace

int maskPan(char* pan) {
  if (pan == nullptr) return 0;
  int length = static_cast<int>(strlen(pan));
  if (length > kLongestPan || length < kShortestPan || strchr(pan, 'X') != nullptr) return 0;
  int masked = 0;
  for (int i = kKeptAtStart; i < length - kKeptAtEnd; i++, masked++) pan[i] = 'X';
  return masked;
}

void clearPCISensitiveData(txn* t, const char* key) {
  char* value = t->bundle->get(key);
  if (value == nullptr || value[0] == '\0') return;
  if (sameTextNoCase(key, kCardDataKey)) {
    maskPan(value);
    return;
  }
  // The overwrite keeps the value's length up to 40 characters: whoever
  // reads the bundle afterwards sees that the field was given, never its
  // text.
  char stars[kMostAsterisks + 1];
  size_t n = strnlen(value, kMostAsterisks);
  memset(stars, '*', n);
  stars[n] = '\0';
  t->bundle->put(key, stars);
}

void clearCardData(txn* t) {
  clearPCISensitiveData(t, kCvc2Key);
  clearPCISensitiveData(t, kCardExpiryDateKey);
  clearPCISensitiveData(t, kCardDataKey);
}
