// A map written from the documented BMap interface alone, its entries in
// a small array of its own. Includes nothing of the library but BMap.h.
// Prints "map program ok" when the map behaves as documented, else the
// number of the failed check.
#include <zelvan/BMap.h>

#include <cstdio>
#include <cstring>

namespace {

// Up to eight entries; takes only entries whose key and value it owns,
// which is all that a check needs.
class SmallMap : public BMap {
 public:
  ~SmallMap() override { free(); }

  BObject* get(BObject* key) override {
    int i = find(key);
    return i < 0 ? nullptr : values_[i];
  }
  char* get(char* key) override {
    BString probe(key);
    BObject* value = get(&probe);
    return value != nullptr && value->instanceOf("BObject:BString") ? static_cast<BString*>(value)->buffer()
                                                                     : nullptr;
  }
  unsigned char contains(BObject* key) override { return find(key) >= 0; }
  unsigned char contains(char* key) override {
    BString probe(key);
    return contains(&probe);
  }
  void put(BObject** key, BObject* value, unsigned char ownKey, unsigned char ownValue) override {
    int i = find(*key);
    if (i >= 0) {
      delete values_[i];
      values_[i] = value;
      if (ownKey) {
        delete *key;
        *key = nullptr;
      }
      return;
    }
    if (count_ == 8 || !ownKey || !ownValue) return;
    keys_[count_] = *key;
    values_[count_++] = value;
  }
  void put(char* key, char* value) override {
    BObject* k = new BString(key);
    put(&k, new BString(value), 1, 1);
  }
  void remove(BObject* key) override {
    int i = find(key);
    if (i < 0) return;
    delete keys_[i];
    delete values_[i];
    keys_[i] = keys_[--count_];
    values_[i] = values_[count_];
  }
  void remove(char* key) override {
    BString probe(key);
    remove(&probe);
  }
  BVector* getKeys() override { return view(keys_); }
  BVector* getValues() override { return view(values_); }
  int clear() override { return free(); }
  int free() override {
    int removed = count_;
    while (count_ > 0) remove(keys_[count_ - 1]);
    return removed;
  }
  int size() override { return count_; }

 private:
  int find(BObject* key) {
    for (int i = 0; i < count_; i++) {
      if (keys_[i]->equals(key)) return i;
    }
    return -1;
  }
  BVector* view(BObject** objects) {
    BVector* out = new BVector();
    for (int i = 0; i < count_; i++) out->add(objects[i], 0);
    return out;
  }

  BObject* keys_[8] = {};
  BObject* values_[8] = {};
  int count_ = 0;
};

// The first failed check's number, or 0.
int checkMap() {
  SmallMap small;
  BMap* map = &small;
  char key[] = "CLIENTID";
  char value[] = "10000001";
  map->put(key, value);
  map->put("_CERTIFICATEPATH", "client.p12");
  if (std::strcmp(map->get(key), "10000001") != 0) return 1;
  if (!map->contains("_CERTIFICATEPATH")) return 2;
  BString* wire = map->toString("_");
  bool wireOk = std::strcmp(wire->buffer(), "CLIENTID=10000001\r\n") == 0;
  delete wire;
  if (!wireOk) return 3;
  if (map->addAll("RESULT=0\r\nCLIENTID=2\r\nEND\r\n") != 3) return 4;
  if (std::strcmp(map->get(key), "2") != 0) return 5;
  BVector* keys = map->getKeys();
  int listed = keys->size();
  delete keys;
  if (listed != 3) return 6;
  map->remove(key);
  if (map->get(key) != nullptr || map->size() != 2) return 7;
  return 0;
}

}  // namespace

int main() {
  int failed = checkMap();
  if (failed != 0) {
    std::printf("failed: map check %d\n", failed);
    return 1;
  }
  std::printf("map program ok\n");
  return 0;
}
