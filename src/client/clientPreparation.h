#ifndef ZELVAN_CLIENTPREPARATION_H_
#define ZELVAN_CLIENTPREPARATION_H_

#include "EngineStatus.h"
#include "txn.h"

struct TransactionRequest;
class TransactionRecord;

// The client's initialised state and the preparation that every exchange
// with the gateway begins with. init_client() (zelvanclient.h) is the one
// way the client is initialised: at load, by the application, and by an
// exchange that finds it freed all go through it.

// Set by init_client(), cleared by free_client(). Read it through
// clientInited(): threads share it.
extern bool m_client_inited;

// m_client_inited, read atomically.
inline bool clientInited() { return __atomic_load_n(&m_client_inited, __ATOMIC_ACQUIRE); }

// Readies an exchange: initialises the library if needed, checks that the
// certificate file can be read and that a port and at least one server
// are set, and then adds the client's type, version and the OpenSSL
// version to the bundle through record. A failure (its ERROR the reason)
// is returned, not recorded, and keeps the card data.
EngineStatus initialiseClient(const TransactionRequest& request, TransactionRecord& record);

// True when the request's certificate path names a regular file that can
// be opened for reading. Logs the outcome to log's debug log.
bool CheckCert(const TransactionRequest& request, txn* log);

#endif  // ZELVAN_CLIENTPREPARATION_H_
