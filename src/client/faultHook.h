#ifndef ZELVAN_FAULTHOOK_H_
#define ZELVAN_FAULTHOOK_H_

// A point where a test may make the exchange fail as no gateway can, for
// example by throwing while the exchange holds its socket and SSL
// context. A test program that links the library's objects defines
// zvExchangeFault; the declaration is weak and hidden, so in
// libzelvanclient.so nothing defines it, nothing exports or imports it,
// and exchangeFaultPoint() does nothing.
extern "C" void zvExchangeFault(const char* point) __attribute__((weak, visibility("hidden")));

// Calls the test's hook, if there is one, with the name of the point.
inline void exchangeFaultPoint(const char* point) {
  if (zvExchangeFault != nullptr) zvExchangeFault(point);
}

#endif  // ZELVAN_FAULTHOOK_H_
