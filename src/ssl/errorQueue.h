#ifndef ZELVAN_ERRORQUEUE_H_
#define ZELVAN_ERRORQUEUE_H_

#include <openssl/err.h>

// Empties the calling thread's OpenSSL error queue, so that the next
// SSL call's errors are its own. Looks first: the queue is nearly always
// empty here, and a look costs a fifth of a clear, which walks every slot.
inline void clearErrorQueue() {
  if (ERR_peek_error() != 0) ERR_clear_error();
}

#endif  // ZELVAN_ERRORQUEUE_H_
