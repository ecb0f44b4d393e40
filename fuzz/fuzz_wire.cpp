// The gateway's message format: a reply's text merged into a bundle with
// addAll, then the bundle written back out as the client writes its
// requests. Whatever the text, parsing must not crash or leak, and the text
// form of what was parsed must parse back to the same fields.
#include <cstring>
#include <string>

#include "BHashTable.h"
#include "BString.h"
#include "BVector.h"
#include "fuzzSupport.h"

namespace {

// True when both tables hold the same keys with the same values (a null
// value matching only a null value).
bool sameFields(BHashTable& a, BHashTable& b) {
  if (a.size() != b.size()) return false;
  BVector* keys = a.getKeys();
  bool same = true;
  for (int i = 0; same && i < keys->size(); ++i) {
    BString* key = static_cast<BString*>(keys->get(i, 0));
    const char* name = key->buffer() ? key->buffer() : "";
    if (!b.contains(name)) {
      same = false;
      break;
    }
    const char* va = a.get(name);
    const char* vb = b.get(name);
    same = (va == nullptr) == (vb == nullptr) && (va == nullptr || std::strcmp(va, vb) == 0);
  }
  delete keys;
  return same;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  silenceStandardOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);  // addAll stops at a NUL

  BHashTable bundle;
  bundle.put("CLIENTID", "10000001");  // a request field the reply may replace
  bundle.put("_CERTIFICATEPATH", "/certs/client.p12");
  bundle.addAll(text.c_str());

  BString* wire = bundle.toString("_");
  BString* whole = bundle.toString();
  if (!wire || !whole) fuzzFailure("a map without a text form", data, size);
  if (wire->length() > whole->length()) fuzzFailure("the filtered text is longer", data, size);

  BHashTable reread;
  reread.addAll(whole->buffer() ? whole->buffer() : "");
  if (!sameFields(bundle, reread)) fuzzFailure("the text form does not parse back", data, size);

  delete wire;
  delete whole;
  return 0;
}
