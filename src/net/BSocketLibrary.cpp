#include "BSocketLibrary.h"

#include <cstdio>

int kNumLibraryInits = 0;
unsigned char mVerbose = 0;

BSocketLibrary::BSocketLibrary() { initSocketLibrary(); }

BSocketLibrary::~BSocketLibrary() { freeSocketLibrary(0); }

const char* BSocketLibrary::classType() { return "BObject:BSocketLibrary"; }

bool BSocketLibrary::initSocketLibrary() {
  ++kNumLibraryInits;
  bool inited = kNumLibraryInits > 0;
  // Speaks for the first user only, or when the counter is not above 0
  // after the increment (it was set below zero from outside).
  if (mVerbose && kNumLibraryInits <= 1) {
    puts(inited ? "Socket library successfully inited :)\r"
                : "Socket library initialisation failed :(\r");
  }
  return inited;
}

bool BSocketLibrary::freeSocketLibrary(unsigned char all) {
  if (kNumLibraryInits > 0) {
    if (all) {
      kNumLibraryInits = 0;
    } else {
      --kNumLibraryInits;
    }
    // Releasing a user while others remain is silent.
    if (mVerbose && kNumLibraryInits == 0) {
      puts("Socket library successfully free-ed :)\r");
    }
  }
  return kNumLibraryInits == 0;
}

bool BSocketLibrary::socketLibraryInited() { return kNumLibraryInits > 0; }
