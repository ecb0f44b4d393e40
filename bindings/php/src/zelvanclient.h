#define FFI_SCOPE "ZELVAN"
#define FFI_LIB "libzelvanclient.so.1"

/*
 * The C functions that the PHP binding calls, in the form PHP's FFI reads:
 * no preprocessor but the two FFI_ defines, which must come first.
 * FFI::cdef() gets these lines without the defines, and ffi.preload may
 * name this file. free() releases the whole-bundle text that get()
 * allocates for the caller.
 */

typedef struct txn txn;

txn *newBundle(void);
void *flushBundle(txn *t);
int put(txn *t, const char *name, const char *value);
char *get(txn *t, const char *name);
int setPort(txn *t, const char *port);
int put_ClientID(txn *t, const char *clientId);
int put_CertificatePath(txn *t, const char *path);
int put_CertificatePassword(txn *t, const char *password);
void setServers(txn *t, const char *list);
int execute(txn *t);
int zelvanclient_outcome(txn *t);
typedef struct zelvan_event {
  int size;
  int type;
  long long elapsed_ms;
  const char *server;
  const char *address;
  int port;
  int resumed;
  const char *tls_version;
  const char *cipher;
  int status_check;
  int outcome;
} zelvan_event;
typedef void (*zelvan_event_handler)(const zelvan_event *event, void *user);
int zelvanclient_set_event_handler(txn *t, zelvan_event_handler handler, void *user);
void cleanup(txn *t);
void free(void *p);
