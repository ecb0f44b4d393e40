#ifndef ZELVAN_BSOCKETLIBRARY_H_
#define ZELVAN_BSOCKETLIBRARY_H_

#include "BObject.h"

// Number of users of the socket layer in this process; 0 at load. Every
// client BSocket counts as one while it lives. The library changes it
// with atomic operations only, so sockets of many threads count right;
// code outside the library should only read it.
extern int kNumLibraryInits;

// When set, the socket library prints a line on standard output as its
// first user arrives and its last one leaves. Off at load.
extern unsigned char mVerbose;

// Counts the users of the socket layer. On Linux no system call is needed
// to start or stop sockets, so the counter and its messages are the whole
// of it; the class keeps the start/stop protocol that portable callers
// follow. Constructing an instance registers a user, destroying it
// releases one.
class BSocketLibrary : public BObject {
 public:
  BSocketLibrary();
  // A copy would release a user that it never registered.
  BSocketLibrary(const BSocketLibrary&) = delete;
  BSocketLibrary& operator=(const BSocketLibrary&) = delete;
  ~BSocketLibrary() override;

  const char* classType() override;

  // Registers one user. True while the counter is above 0.
  static bool initSocketLibrary();

  // Releases one user, or all of them when all is set. A counter at 0
  // stays at 0. True when no user remains.
  static bool freeSocketLibrary(unsigned char all);

  // True while at least one user is registered.
  static bool socketLibraryInited();
};

#endif  // ZELVAN_BSOCKETLIBRARY_H_
