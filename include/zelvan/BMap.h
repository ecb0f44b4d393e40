#ifndef ZELVAN_BMAP_H_
#define ZELVAN_BMAP_H_

#include "BObject.h"
#include "BString.h"
#include "BVector.h"

// The abstract map of the object library, over BObject keys and values,
// with a text form of the whole map that is also the gateway's message
// format: one line per entry, key "=" value "\r\n", without escaping.
//
// Ownership is recorded per entry: put() says whether the map owns the key
// and the value. An owned object is deleted by the map when its entry is
// removed, cleared or freed, or (for a value) when the value is replaced.
// get() never transfers ownership. Not thread-safe.
class BMap : public BObject {
 public:
  BMap();
  ~BMap() override;

  // The text form of the whole map, unfiltered. The caller deletes the
  // result.
  BString* toString() override;
  const char* classType() override;

  // The value stored under an equal key, or null.
  virtual BObject* get(BObject* key) = 0;
  // The text of the BString stored under key, or null (also for a value of
  // another class). The pointer belongs to the map. key is only read.
  virtual char* get(char* key) = 0;
  virtual unsigned char contains(BObject* key) = 0;
  virtual unsigned char contains(char* key) = 0;
  // Stores value under *key. An equal key already present keeps its key
  // object and takes the value (an owned old value is deleted); the
  // passed key is then deleted and *key set to null when ownKey is set.
  virtual void put(BObject** key, BObject* value, unsigned char ownKey,
                   unsigned char ownValue) = 0;
  // Stores copies of key and value, both owned by the map. A null value
  // stores an empty string. key and value are only read.
  virtual void put(char* key, char* value) = 0;
  // Removes the entry of an equal key, deleting what it owns.
  virtual void remove(BObject* key) = 0;
  virtual void remove(char* key) = 0;
  // A new vector of the map's keys (values), unmanaged: they stay the
  // map's and are valid while the map holds them. Element i of the one
  // belongs to element i of the other. The caller deletes the vector.
  virtual BVector* getKeys() = 0;
  virtual BVector* getValues() = 0;
  // Remove every entry; return how many there were.
  virtual int clear() = 0;
  virtual int free() = 0;
  virtual int size() = 0;

  // The text-key operations for constant texts (literals, c_str()). The
  // virtual forms take char* keys, which they only read, so these hand the
  // same text on to them: a subclass overrides the char* form alone.
  char* get(const char* key) { return get(const_cast<char*>(key)); }
  unsigned char contains(const char* key) { return contains(const_cast<char*>(key)); }
  // GCC still lets a literal convert to char*, so with GCC a put() that
  // mixes a literal and a char* matches both forms equally: pass both as
  // const char* (or both as char*). A null value works with either.
  void put(const char* key, const char* value) {
    put(const_cast<char*>(key), const_cast<char*>(value));
  }
  void remove(const char* key) { remove(const_cast<char*>(key)); }

  // The text form, leaving out the keys that the filters exclude. Each
  // filter in turn decides for a key: an empty or null filter excludes it,
  // otherwise the key is excluded when it begins with the filter; the
  // last filter that applies wins. The caller deletes the result.
  BString* toString(int filterCount, const char* const* filters);
  // The same with BString filters, none of them null.
  BString* toString(int filterCount, BString** filters);
  // The text form without the keys that begin with filter.
  BString* toString(const char* filter);

  // Parses a text form into this map, the map owning every key and value
  // it creates. Lines break at CR LF, CR or LF; a line is used only when
  // it splits at "=" into exactly two pieces; an empty piece or "<null>"
  // stands for null. Nothing is trimmed. Returns size() afterwards.
  int addAll(const char* text);

 private:
  BMap(const BMap&) = delete;
  BMap& operator=(const BMap&) = delete;
};

#endif  // ZELVAN_BMAP_H_
