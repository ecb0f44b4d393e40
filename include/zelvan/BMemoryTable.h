#ifndef ZELVAN_BMEMORYTABLE_H_
#define ZELVAN_BMEMORYTABLE_H_

#include <cstdint>

#include "BHashTable.h"
#include "BObject.h"

// The tracker's table: BPointer keys (block addresses), BString values
// (labels); null while no table exists.
extern BHashTable* kMemoryTable;
// Create and destroy events recorded; both reset when a table is created.
extern uint64_t kNumCreates;
extern uint64_t kNumDestroys;
// While non-zero no event is recorded. Starts at 1: nothing is recorded
// until tracing is switched on.
extern unsigned char kTracePause;

// A process-wide record of heap blocks, kept for finding leaks. Code that
// allocates a block reports a create event with a short label; code that
// releases it reports a destroy event; report() prints what remains. All
// operations are static and act on one unguarded global table: callers
// that trace from several threads must not do so at once.
class BMemoryTable : public BObject {
 public:
  BMemoryTable();
  BMemoryTable(const BMemoryTable&) = delete;
  BMemoryTable& operator=(const BMemoryTable&) = delete;
  // Frees the global table if one exists.
  ~BMemoryTable() override;
  const char* classType() override;

  // Records block p with a copy of label. Creates the table first if there
  // is none, even while tracing is paused. A block recorded twice prints
  // "** Error in create event - reusing an unfreed pointer: ...".
  static void createEvent(void* p, const char* label);

  // Records that block p was released. The lookup is by p's "%p" text,
  // which never matches the stored pointer keys, so with tracing on every
  // destroy event prints "** Error in destroy event - unable to find
  // pointer: ..." and the create record stays. Compatibility: tools that
  // read the tracker's report rely on every block it ever saw being
  // listed, which is what this lookup gives.
  static void destroyEvent(void* p);

  // on: creates the table (recording itself first) if there is none;
  // off: free().
  static void trace(unsigned char on);

  // Sets kTracePause and returns it.
  static unsigned char tracePause(unsigned char pause);

  // Prints the counts and the blocks still recorded to standard output.
  static void report();

  // Deletes the table with its records; tracing stays paused.
  static void free();
};

#endif  // ZELVAN_BMEMORYTABLE_H_
