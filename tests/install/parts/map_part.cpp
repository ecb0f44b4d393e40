// A map written from the documented BMap interface alone, as an application
// writes one against the installed header and library: BMap's own text form
// and parser must work through its slots. Prints "map program ok", else the
// number of the first failed check.
#include <zelvan/BMap.h>

#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace {

// Entries in the order they came; keeps only entries whose key and value
// it owns, which is all that the checks need.
class ListMap : public BMap {
 public:
  ~ListMap() override { free(); }

  BObject* get(BObject* key) override {
    auto entry = find(key);
    return entry == entries_.end() ? nullptr : entry->second;
  }
  char* get(char* key) override {
    BString probe(key);
    BObject* value = get(&probe);
    return value != nullptr && value->instanceOf("BObject:BString") ? static_cast<BString*>(value)->buffer()
                                                                     : nullptr;
  }
  unsigned char contains(BObject* key) override { return find(key) != entries_.end(); }
  unsigned char contains(char* key) override {
    BString probe(key);
    return contains(&probe);
  }
  void put(BObject** key, BObject* value, unsigned char ownKey, unsigned char ownValue) override {
    auto entry = find(*key);
    if (entry == entries_.end()) {
      if (ownKey && ownValue) entries_.emplace_back(*key, value);
      return;
    }
    delete entry->second;
    entry->second = value;
    if (ownKey) {
      delete *key;
      *key = nullptr;
    }
  }
  void put(char* key, char* value) override {
    BObject* owned = new BString(key);
    put(&owned, new BString(value), 1, 1);
  }
  void remove(BObject* key) override {
    auto entry = find(key);
    if (entry == entries_.end()) return;
    delete entry->first;
    delete entry->second;
    entries_.erase(entry);
  }
  void remove(char* key) override {
    BString probe(key);
    remove(&probe);
  }
  BVector* getKeys() override { return view(true); }
  BVector* getValues() override { return view(false); }
  int clear() override { return free(); }
  int free() override {
    int removed = size();
    while (!entries_.empty()) remove(entries_.back().first);
    return removed;
  }
  int size() override { return static_cast<int>(entries_.size()); }

 private:
  using Entries = std::vector<std::pair<BObject*, BObject*>>;

  Entries::iterator find(BObject* key) {
    auto entry = entries_.begin();
    while (entry != entries_.end() && !entry->first->equals(key)) ++entry;
    return entry;
  }
  BVector* view(bool keys) {
    BVector* out = new BVector();
    for (auto& entry : entries_) out->add(keys ? entry.first : entry.second, 0);
    return out;
  }

  Entries entries_;
};

}  // namespace

int main() {
  ListMap list;
  BMap& map = list;  // the subclass hides BMap's const char* forms
  int checks = 0, failed = 0;
  auto check = [&](bool ok) {
    ++checks;
    if (!ok && failed == 0) failed = checks;
  };
  map.put("CLIENTID", "10000001");
  map.put("_CERTIFICATEPATH", "client.p12");
  check(std::strcmp(map.get("CLIENTID"), "10000001") == 0 && map.contains("_CERTIFICATEPATH"));
  BString* wire = map.toString("_");
  check(std::strcmp(wire->buffer(), "CLIENTID=10000001\r\n") == 0);
  delete wire;
  check(map.addAll("RESULT=0\r\nCLIENTID=2\r\nEND\r\n") == 3);
  check(std::strcmp(map.get("CLIENTID"), "2") == 0);
  map.remove("CLIENTID");
  check(map.get("CLIENTID") == nullptr && map.size() == 2);
  if (failed != 0) {
    std::printf("failed: map check %d\n", failed);
    return 1;
  }
  std::printf("map program ok\n");
  return 0;
}
