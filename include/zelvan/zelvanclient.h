/*
** The public interface of libzelvanclient, the client library of the
** Zelvan card-payment gateway. Usable from C (C99 or later) and C++.
**
** An application creates a transaction handle with newBundle(), fills its
** bundle of text fields with put() and the setters below, runs the
** transaction with execute(), reads the gateway's answer with get(), and
** either empties the handle with flushBundle() for the next transaction
** or destroys it with cleanup():
**
**     txn *t = newBundle();
**     put(t, "DEBUG", "ON");                  optional, before LOGFILE
**     put(t, "LOGFILE", "/var/log/pay.log");  optional
**     setServers(t, "gw1.example.com, gw2.example.com");
**     setPort(t, "8443");
**     put_ClientID(t, "10000001");
**     put_CertificatePath(t, "/etc/pay/client.p12");
**     put_CertificatePassword(t, "secret");
**     put(t, "TRANSACTIONTYPE", "PURCHASE");
**     put(t, "CARDDATA", "4111111111111111");
**     ...
**     if (execute(t)) printf("%s\n", get(t, "RESULT"));
**     cleanup(t);
**
** Every outcome, local failures included, is left in the bundle: ERROR (an
** upper-case text), often ERROR_DETAIL, and RESULT "-1". Nothing is thrown
** to the caller. Card data (CARDDATA, CVC2, CARDEXPIRYDATE) are masked or
** overwritten in the bundle at the end of every exchange.
**
** Fields whose names begin with "_" stay in the process and are never sent
** to the gateway; every other field is sent as it stands. A reply from the
** gateway never changes the "_" fields, SERVER0..., SERVERCOUNT or
** SERVERPORT.
**
** Threads: one txn per thread at a time, any number of txns at once.
** Threads may run transactions in parallel, each on a handle of its own;
** two threads must never use the same handle at the same time. The library
** initialises itself when it is loaded and releases its resources when it
** is unloaded; init_client() and free_client() exist for applications that
** want to do so explicitly.
**
** A NULL handle is ignored: the function does nothing and returns 0 or
** NULL (execute() returns 0). A handle that was given to cleanup() must not
** be used again; that cannot be detected. Text arguments may be NULL where
** said.
*/
#ifndef ZELVAN_ZELVANCLIENT_H_
#define ZELVAN_ZELVANCLIENT_H_

/*
** The version of this library package, as text ("MAJOR.MINOR.PATCH") and
** as a number (MAJOR*1000000 + MINOR*1000 + PATCH) for comparisons in the
** preprocessor. The build reads the package version from here, so these
** two lines are its only definition. It is not the protocol's client
** version that the library sends as ZELVANCLIENTVERSION.
*/
#define ZELVANCLIENT_VERSION "1.0.0"
#define ZELVANCLIENT_VERSION_NUM 1000000

/*
** The handle of one transaction: its bundle of fields and its debug-log
** settings. Opaque; created by newBundle(), destroyed by cleanup().
*/
typedef struct txn txn;

/*
** The bundle itself, as flushBundle() returns it. Opaque to C; to C++ it
** is the object library's BHashTable, defined here.
*/
#ifdef __cplusplus
#include "BHashTable.h"
#else
typedef struct BHashTable BHashTable;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
** Returns the version text of the library that is loaded, which equals
** ZELVANCLIENT_VERSION of the header it was built from. An application
** compares it with the ZELVANCLIENT_VERSION it was compiled against to
** see that it runs with the library it expects. The text is static: do
** not free or modify it. Needs no handle and no initialisation.
*/
const char *zelvanclient_version(void);

/*
** Initialises the library once per process: seeds the standard
** pseudo-random generator from the clock and creates the pool of SSL
** contexts. Runs by itself when the library is loaded; calling it again
** does nothing. After free_client() it initialises the library anew.
** Returns 1.
*/
int init_client(void);

/*
** Releases what the library holds for the whole process: every pooled SSL
** context and the allocation tracker. Runs by itself when the library is
** unloaded. Call it only when no transaction is running; handles created
** before remain usable for put(), get(), flushBundle() and cleanup(), and
** the next exchange initialises the library again. Returns 1.
*/
int free_client(void);

/*
** Creates a transaction handle with an empty bundle and the debug log off.
** Writes no log line. The caller destroys the handle with cleanup().
*/
txn *newBundle(void);

/*
** Empties the handle for another transaction: the bundle is destroyed with
** every field, settings included (servers, port, client identifier,
** certificate path and password must be given again), and an empty one
** takes its place. The debug-log state (DEBUG and an open LOGFILE) is
** kept. Returns the new bundle, which belongs to the handle: do not
** destroy it. Pointers returned by get() before the call are invalid.
*/
BHashTable *flushBundle(txn *t);

/*
** Stores field NAME with text VALUE in the bundle, replacing an earlier
** value. A NULL VALUE stores an empty field; a NULL NAME is ignored.
** Two names also act on the debug log (names compared without regard to
** case):
**
**   DEBUG    "ON" (in any case) switches this handle's log on; any other
**            value switches it off and closes its log file.
**   LOGFILE  "stdout" (in any case) closes the log file and logs to
**            standard output again. Any other value is a file path that
**            is opened for appending, but only while DEBUG is on: put
**            DEBUG before LOGFILE. A path that cannot be opened makes the
**            log go to standard output.
**
** Without a log file, log lines go to standard output. Both fields are
** ordinary fields as well and are sent to the gateway.
** Any text is stored as given; execute() refuses to send a field that the
** message cannot carry (see execute()).
** The result carries no meaning.
*/
int put(txn *t, const char *name, const char *value);

/*
** Returns the text of field NAME, or NULL if the bundle has no such field
** or the field is empty. The pointer belongs to the bundle: do not free
** or modify it; it stays valid until the field is replaced or removed,
** the bundle is flushed, or the handle is cleaned up. get() never writes
** a log line.
**
** NAME "THEWORKS" (in any case) returns the whole bundle as text instead,
** "_" fields included, one "name=value\r\n" line per field, in a new
** array allocated with malloc(): the caller releases it with free(), from
** any language. An empty bundle gives an empty text.
*/
char *get(txn *t, const char *name);

/*
** Stores field SERVERPORT, the gateway's port as decimal text, used for
** every server of the list. Logs the port. execute() accepts only a whole
** decimal number from 1 to 65535 and otherwise fails before connecting.
** The result carries no meaning.
*/
int setPort(txn *t, const char *port);

/*
** Stores field CLIENTID, the merchant's client identifier, which every
** request needs.
** The result carries no meaning.
*/
int put_ClientID(txn *t, const char *clientId);

/*
** Stores field _CERTIFICATEPATH, the path of the client certificate
** (PKCS#12 or PEM). The file must be a readable regular file when the
** transaction runs.
** The result carries no meaning.
*/
int put_CertificatePath(txn *t, const char *path);

/*
** Stores field _CERTIFICATEPASSWORD, the password of the client
** certificate. The password is neither logged nor sent to the gateway.
** The result carries no meaning.
*/
int put_CertificatePassword(txn *t, const char *password);

/*
** Stores the gateway servers to try, in order: LIST holds host names or
** addresses separated by commas, semicolons, blanks or any mix of them.
** Each entry is trimmed and empty entries are skipped. The servers become
** fields SERVER0, SERVER1, ... and SERVERCOUNT their number. A second call
** overwrites the numbering from SERVER0; fields beyond the new count stay
** in the bundle but are not tried. A NULL or empty LIST sets SERVERCOUNT
** to 0, and the next transaction then fails with
** "UNABLE TO CONNECT - NO SERVER SET".
*/
void setServers(txn *t, const char *list);

/*
** Runs the transaction: connects to the first server of the list that
** accepts a connection and an SSL handshake with the client certificate,
** sends the bundle, and merges the gateway's reply into it. When the
** gateway opens a transaction reference (TXNREFERENCE) the bundle is sent
** again and the final response merged. If a PURCHASE or REFUND fails after
** the gateway gave a reference, the transaction's status is asked for (at
** least three times, see _STATUSWINDOW), and TRANSACTIONTYPE is then left as "STATUS": set it
** again or call flushBundle() before reusing the handle.
**
** Returns 1 when the last exchange ran to its end (which includes a reply
** that carries the gateway's own ERROR), 0 otherwise. Read the outcome
** with get(): RESULT, AUTHCODE, RESPONSECODE, RESPONSETEXT, TXNREFERENCE,
** ERROR and ERROR_DETAIL, and the timings TIMINGS and TOTAL_TIME (in
** milliseconds). Card data in the bundle are masked or overwritten
** afterwards. Blocks the calling thread: up to 5 seconds for each server
** that does not answer and about 30 seconds for each reply awaited, unless
** the local field _TIMEOUT (milliseconds) bounds the whole call, status
** checks included: then it ends with ERROR "TRANSACTION TIMED OUT" when
** the time is up. _PROXY ("http://[user:password@]host:port") sends every
** connection through that HTTP proxy, TLS staying end to end with the
** gateway. _STATUSWINDOW (milliseconds, default 8000) is how long status
** checks go on, pausing between them, until one brings a decision; 0 runs
** three back to back. A setting that cannot be used fails before
** connecting with ERROR "INVALID SETTING".
**
** Nothing is sent, and ERROR is "INVALID FIELD" with an ERROR_DETAIL
** naming the field (never its value), when a field that would be sent has
** CR, LF or "=" in its value, or a name that is empty or holds "=", CR or
** LF. RESULT "0" alone means approved. With a TXNREFERENCE in the bundle
** and RESULT "-1" the outcome is unknown: never repeat the payment; ask
** for its status later with the reference.
*/
int execute(txn *t);

/*
** What execute() came to, for the merchant's money. Exactly one of these
** after every execute(), whatever went wrong:
**
**   ZELVAN_OUTCOME_APPROVED     the gateway's final decision is an approval
**                               (RESULT "0").
**   ZELVAN_OUTCOME_DECLINED     the gateway's final decision is not an
**                               approval; nothing was charged.
**   ZELVAN_OUTCOME_NO_DECISION  the gateway never opened the transaction (it
**                               gave no TXNREFERENCE: every local failure
**                               before it, and a gateway error in its first
**                               reply); nothing was charged, and running
**                               the same request again is safe.
**   ZELVAN_OUTCOME_UNKNOWN      the gateway opened the transaction and no
**                               final decision followed, status checks
**                               included. Never run it again: ask for the
**                               status of TXNREFERENCE later.
**
** ZELVAN_OUTCOME_NONE is the value before any execute() (and after
** flushBundle()), and for a NULL handle. A STATUS enquiry that the
** application runs itself gets the outcome of the transaction it asks
** about. execute()'s return value and the bundle's fields are as described
** above; this function reads no field and is the one place where they are
** turned into an outcome.
*/
enum {
  ZELVAN_OUTCOME_NONE = 0,
  ZELVAN_OUTCOME_APPROVED = 1,
  ZELVAN_OUTCOME_DECLINED = 2,
  ZELVAN_OUTCOME_NO_DECISION = 3,
  ZELVAN_OUTCOME_UNKNOWN = 4
};
int zelvanclient_outcome(txn *t);

/*
** Events: what execute() does, as it does it, for an application's own
** metrics (counters, latencies). An event handler set on a handle is called
** on the calling thread, during execute(), once for each event below, with
** the event and the USER pointer given here. Every event carries the
** milliseconds since execute() began. Card data, passwords and field
** values never appear in an event.
**
**   ZELVAN_EVENT_SERVER_TRIED    an address of a server is tried: server
**                                (the entry as listed), address (its text,
**                                "127.0.0.1" or "[::1]"; through a proxy,
**                                the proxy's), port.
**   ZELVAN_EVENT_CONNECTED       a TCP connection is open: server, address,
**                                port as above.
**   ZELVAN_EVENT_HANDSHAKE_DONE  the TLS handshake completed: tls_version
**                                ("TLSv1.3"), cipher, resumed (1 when a
**                                stored session was resumed, 0 for a full
**                                handshake).
**   ZELVAN_EVENT_REQUEST_SENT    a message was written to the gateway.
**   ZELVAN_EVENT_REPLY_READ      a whole reply was read from the gateway.
**   ZELVAN_EVENT_STATUS_CHECK    a status check begins: status_check is its
**                                number, from 1.
**   ZELVAN_EVENT_OUTCOME         execute() is over: outcome is what
**                                zelvanclient_outcome() returns.
**
** The structure may grow at its end in later versions: size tells how
** many bytes of it the library filled, so read a field only when size
** reaches past it. Texts are NULL where an event has none, and valid only
** during the call: copy what you keep. Fields an event does not use are 0
** or NULL.
**
** The handler must not call execute(), flushBundle() or cleanup() on the
** same handle. Its time counts against the transaction: a slow handler
** delays the payment and uses up its _TIMEOUT; keep it short (count,
** enqueue) and do heavier work elsewhere.
*/
enum {
  ZELVAN_EVENT_SERVER_TRIED = 1,
  ZELVAN_EVENT_CONNECTED = 2,
  ZELVAN_EVENT_HANDSHAKE_DONE = 3,
  ZELVAN_EVENT_REQUEST_SENT = 4,
  ZELVAN_EVENT_REPLY_READ = 5,
  ZELVAN_EVENT_STATUS_CHECK = 6,
  ZELVAN_EVENT_OUTCOME = 7
};

typedef struct zelvan_event {
  int size;              /* bytes of this structure the library filled */
  int type;              /* ZELVAN_EVENT_* */
  long long elapsed_ms;  /* milliseconds since execute() began */
  const char *server;    /* SERVER_TRIED, CONNECTED */
  const char *address;   /* SERVER_TRIED, CONNECTED */
  int port;              /* SERVER_TRIED, CONNECTED */
  int resumed;           /* HANDSHAKE_DONE: 1 resumed, 0 full */
  const char *tls_version; /* HANDSHAKE_DONE */
  const char *cipher;    /* HANDSHAKE_DONE */
  int status_check;      /* STATUS_CHECK: 1, 2, ... */
  int outcome;           /* OUTCOME: ZELVAN_OUTCOME_* */
} zelvan_event;

typedef void (*zelvan_event_handler)(const zelvan_event *event, void *user);

/*
** Sets the handler that receives the events of every later execute() on
** the handle, with USER passed back to it untouched; a NULL HANDLER stops
** the events. The setting stays across flushBundle() and ends with
** cleanup(). Returns 1, or 0 for a NULL handle.
*/
int zelvanclient_set_event_handler(txn *t, zelvan_event_handler handler, void *user);

/*
** Destroys the handle: its bundle with every field, and its log file,
** which is closed. The handle must not be used again. Pointers returned by
** get() become invalid; arrays returned for "THEWORKS" stay the caller's.
*/
void cleanup(txn *t);

#ifdef __cplusplus
}
#endif

#endif /* ZELVAN_ZELVANCLIENT_H_ */
