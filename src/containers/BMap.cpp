#include "BMap.h"

#include <cstring>

#include "BString.h"
#include "BTokeniser.h"
#include "BVector.h"
#include "memTrack.h"

namespace {

const char kNullText[] = "<null>";

// The text written for a key or value: "<null>" for null, a string's own
// buffer, or the buffer of a temporary toString() handed back in *made.
const char* textOf(BObject* o, BString** made) {
  *made = nullptr;
  if (o == nullptr) return kNullText;
  if (o->instanceOf(BString::staticType())) return static_cast<BString*>(o)->buffer();
  *made = o->toString();
  return (*made)->buffer();
}

// A piece of a parsed line: null for an empty piece or "<null>".
BString* pieceObject(BTokeniser& pieces, int i, const char* label) {
  const char* text = pieces.get(i);
  if (text == nullptr || strcmp(text, kNullText) == 0) return nullptr;
  return trackNew(new BString(text), label);
}

}  // namespace

BMap::BMap() {}

BMap::~BMap() {}

const char* BMap::classType() { return "BObject:BMap"; }

BString* BMap::toString() { return toString(0, static_cast<const char* const*>(nullptr)); }

BString* BMap::toString(const char* filter) { return toString(1, &filter); }

BString* BMap::toString(int filterCount, BString** filters) {
  if (filterCount < 1) return toString(0, static_cast<const char* const*>(nullptr));
  const char** texts = trackNew(new const char*[filterCount], "");
  for (int i = 0; i < filterCount; i++) texts[i] = filters[i]->buffer();
  BString* result = toString(filterCount, texts);
  trackDeleteArray(texts);
  return result;
}

BString* BMap::toString(int filterCount, const char* const* filters) {
  BString* result = trackNew(new BString(500), "map to string object");
  int* lengths = nullptr;
  if (filterCount > 0) {
    lengths = trackNew(new int[filterCount], "filter length array in BMap::toString(...)");
    for (int f = 0; f < filterCount; f++) {
      lengths[f] = filters[f] ? static_cast<int>(strlen(filters[f])) : 0;
    }
  }
  BVector* keys = getKeys();
  BVector* values = getValues();
  int lines = (keys && values && keys->size() == values->size()) ? keys->size() : 0;
  for (int i = 0; i < lines; i++) {
    BString* madeKey;
    BString* madeValue;
    const char* key = textOf(keys->get(i, 0), &madeKey);
    bool excluded = false;
    for (int f = 0; f < filterCount; f++) {
      if (lengths[f] <= 0) {
        excluded = true;
      } else if (key != nullptr) {
        excluded = strncmp(key, filters[f], lengths[f]) == 0;
      }
    }
    if (!excluded) {
      const char* value = textOf(values->get(i, 0), &madeValue);
      result->append(key);
      result->append('=');
      result->append(value);
      result->append("\r\n");
      trackDelete(madeValue);
    }
    trackDelete(madeKey);
  }
  trackDelete(keys);
  trackDelete(values);
  trackDeleteArray(lengths);
  return result;
}

int BMap::addAll(const char* text) {
  static const char* const kLineBreaks[] = {"\r\n", "\r", "\n"};
  static const char* const kSeparator[] = {"="};
  // A hash table cannot hold a null key, so lines whose key piece stands
  // for null are skipped for it; other maps store them as they come.
  bool nullKeysAllowed = !instanceOf("BObject:BMap:BHashTable");
  BTokeniser lines(text, 3, kLineBreaks);
  BTokeniser pieces;
  for (int i = 0; i < lines.size(); i++) {
    if (pieces.parse(lines.get(i), 1, kSeparator) != 2) continue;
    BObject* key = pieceObject(pieces, 0, "key object creation in add all");
    if (key == nullptr && !nullKeysAllowed) continue;
    BObject* value = pieceObject(pieces, 1, "value object creation in add all");
    put(&key, value, 1, 1);
  }
  return size();
}
