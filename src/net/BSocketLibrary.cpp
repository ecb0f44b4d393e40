#include "BSocketLibrary.h"

#include <cstdio>

int kNumLibraryInits = 0;
unsigned char mVerbose = 0;

BSocketLibrary::BSocketLibrary() { initSocketLibrary(); }

BSocketLibrary::~BSocketLibrary() { freeSocketLibrary(0); }

const char* BSocketLibrary::classType() { return "BObject:BSocketLibrary"; }

// kNumLibraryInits stays a plain int for the programs that read it, but
// the library changes and reads it only with atomic operations: every
// thread's sockets count in it.
bool BSocketLibrary::initSocketLibrary() {
  int users = __atomic_add_fetch(&kNumLibraryInits, 1, __ATOMIC_SEQ_CST);
  bool inited = users > 0;
  // Speaks for the first user only, or when the counter is not above 0
  // after the increment (it was set below zero from outside).
  if (mVerbose && users <= 1) {
    puts(inited ? "Socket library successfully inited :)\r"
                : "Socket library initialisation failed :(\r");
  }
  return inited;
}

bool BSocketLibrary::freeSocketLibrary(unsigned char all) {
  int users = __atomic_load_n(&kNumLibraryInits, __ATOMIC_SEQ_CST);
  // Lowers a positive counter by one (or to 0 with all); a counter at or
  // below 0 is left alone. Retried while another thread moved it.
  while (users > 0) {
    int remaining = all ? 0 : users - 1;
    if (__atomic_compare_exchange_n(&kNumLibraryInits, &users, remaining, false, __ATOMIC_SEQ_CST,
                                    __ATOMIC_SEQ_CST)) {
      // Releasing a user while others remain is silent.
      if (mVerbose && remaining == 0) puts("Socket library successfully free-ed :)\r");
      return remaining == 0;
    }
  }
  return users == 0;
}

bool BSocketLibrary::socketLibraryInited() {
  return __atomic_load_n(&kNumLibraryInits, __ATOMIC_SEQ_CST) > 0;
}
