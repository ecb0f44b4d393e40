#include "BMemoryTable.h"

#include <cinttypes>
#include <cstdio>

#include "BHashTable.h"
#include "BPointer.h"
#include "BString.h"

BHashTable* kMemoryTable = nullptr;
uint64_t kNumCreates = 0;
uint64_t kNumDestroys = 0;
unsigned char kTracePause = 1;

namespace {

void createTable() {
  kNumCreates = 0;
  kNumDestroys = 0;
  kMemoryTable = new BHashTable();
}

}  // namespace

BMemoryTable::BMemoryTable() {}

BMemoryTable::~BMemoryTable() { free(); }

const char* BMemoryTable::classType() { return "BObject:BMemoryTable"; }

void BMemoryTable::createEvent(void* p, const char* label) {
  if (kMemoryTable == nullptr) {
    createTable();
    createEvent(kMemoryTable, "creation of memory table");
  }
  if (kTracePause) return;
  // The tracker's own allocations below must not be recorded.
  kTracePause = 1;
  kNumCreates++;
  BObject* key = new BPointer(p);
  if (kMemoryTable->contains(key)) {
    printf("** Error in create event - reusing an unfreed pointer: %p - '%s'\n", p,
           label ? label : "");
    delete key;
  } else {
    kMemoryTable->put(&key, new BString(label), 1, 1);
  }
  kTracePause = 0;
}

void BMemoryTable::destroyEvent(void* p) {
  if (kMemoryTable == nullptr || kTracePause) return;
  kTracePause = 1;
  kNumDestroys++;
  char text[32];
  snprintf(text, sizeof text, "%p", p);
  if (kMemoryTable->contains(text)) {
    kMemoryTable->remove(text);
  } else {
    printf("** Error in destroy event - unable to find pointer: %p\n", p);
  }
  kTracePause = 0;
}

void BMemoryTable::trace(unsigned char on) {
  if (on) {
    if (kMemoryTable != nullptr) return;
    createTable();
    kTracePause = 0;
    createEvent(kMemoryTable, "creation of memory table");
  } else if (kMemoryTable != nullptr) {
    free();
  }
}

unsigned char BMemoryTable::tracePause(unsigned char pause) { return kTracePause = pause; }

void BMemoryTable::report() {
  if (kMemoryTable == nullptr) {
    puts("Memory Table report - table not active");
    return;
  }
  unsigned char saved = kTracePause;
  kTracePause = 1;
  int n = kMemoryTable->size();
  printf("Memory Table report - %d pointers remain to be de-allocated...\n", n);
  printf("%" PRIu64 " allocations and %" PRIu64 " de-allocations\n", kNumCreates, kNumDestroys);
  if (n > 0) {
    printf("%d pointers remain to be de-allocated\n", n);
    BString* text = kMemoryTable->toString();
    if (text != nullptr) {
      printf("The remaining pointers are...\n%s", text->buffer() ? text->buffer() : "");
      destroyEvent(text);
      delete text;
    }
  }
  kTracePause = saved;
}

void BMemoryTable::free() {
  if (kMemoryTable == nullptr) return;
  destroyEvent(kMemoryTable);
  kTracePause = 1;
  delete kMemoryTable;
  kMemoryTable = nullptr;
}
