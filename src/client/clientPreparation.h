#ifndef ZELVAN_CLIENTPREPARATION_H_
#define ZELVAN_CLIENTPREPARATION_H_

#include "txn.h"

// The client's initialised state and the preparation that every exchange
// with the gateway begins with.

// Set by init_client(), cleared by free_client(). Read it through
// clientInited(): threads share it.
extern bool m_client_inited;

// m_client_inited, read atomically.
inline bool clientInited() { return __atomic_load_n(&m_client_inited, __ATOMIC_ACQUIRE); }

// Readies a transaction for an exchange: initialises the library if
// needed, checks that the certificate file can be read and that a port
// and at least one server are set, and adds the client's type, version and
// the OpenSSL version to the bundle. On failure stores ERROR (the reason)
// and RESULT "-1" and returns false.
bool initialiseClient(txn* t);

// True when _CERTIFICATEPATH names a regular file that can be opened for
// reading. Logs the outcome; stores nothing in the bundle.
bool CheckCert(txn* t);

#endif  // ZELVAN_CLIENTPREPARATION_H_
