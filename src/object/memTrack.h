#ifndef ZELVAN_MEMTRACK_H_
#define ZELVAN_MEMTRACK_H_

#include "BMemoryTable.h"

// Reporting helpers for the allocation tracker: every block the library
// allocates is announced with a label and its release is announced before
// it is deleted.

// True while the tracker records. The library reports its own blocks only
// then: a report while paused would create the tracker's table (as a
// direct BMemoryTable::createEvent() does), and a process whose table
// exists before trace(1) never starts recording. Code may skip work done
// only for the tracker's sake while this is false.
inline bool trackerListening() { return !kTracePause; }

// Reports p to the tracker under label and returns it.
template <class T>
T* trackNew(T* p, const char* label) {
  // Skipping the call while paused also spares every allocation of a
  // transaction a function call.
  if (trackerListening()) BMemoryTable::createEvent(p, label);
  return p;
}

// Reports the release of an object and deletes it (through its virtual
// destructor). Nothing for null.
template <class T>
void trackDelete(T* p) {
  if (p == nullptr) return;
  // A paused or absent tracker ignores the report (see trackNew).
  if (kMemoryTable != nullptr && !kTracePause) BMemoryTable::destroyEvent(p);
  delete p;
}

// Reports the release of an array and deletes it. Nothing for null.
template <class T>
void trackDeleteArray(T* p) {
  if (p == nullptr) return;
  if (kMemoryTable != nullptr && !kTracePause) BMemoryTable::destroyEvent(p);
  delete[] p;
}

#endif  // ZELVAN_MEMTRACK_H_
