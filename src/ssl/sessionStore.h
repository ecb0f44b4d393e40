#ifndef ZELVAN_SESSIONSTORE_H_
#define ZELVAN_SESSIONSTORE_H_

#include <openssl/ssl.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

// The SSL session store: the one most recent SSL session of a client
// certificate, kept in a System V shared-memory segment so that every
// process of the same user on the machine that uses the same certificate
// file resumes the same session. Each certificate path has a segment of
// its own, keyed by ftok(certificatePath, 82), created readable and
// writable by its owner only (0600). A context stores and offers sessions
// only through the segment of its own certificate, so two certificates in
// one process never share a session.
//
// Every process and thread that uses a segment serialises its access with
// the segment's lock byte, taken through a StoreLock (StoreLock.h).

// Byte layout of the shared segment. Other processes of other builds map
// the same bytes, so the layout is fixed: native byte order, 4236 bytes.
struct SharedSessionSegment {
  // DER form of the stored session; only sessionLength bytes are valid.
  unsigned char sessionData[4096];
  // 0 while no session is stored.
  int32_t sessionLength;
  // 1 while a process holds the lock.
  unsigned char lockFlag;
  // Alignment gap; never read or written.
  unsigned char reserved[3];
  // The identifier shmget() returned for the segment.
  int32_t segmentId;
  // The certificate path that keyed the segment, NUL-terminated.
  char certificatePath[128];
};

static_assert(offsetof(SharedSessionSegment, sessionData) == 0, "segment layout");
static_assert(offsetof(SharedSessionSegment, sessionLength) == 4096, "segment layout");
static_assert(offsetof(SharedSessionSegment, lockFlag) == 4100, "segment layout");
static_assert(offsetof(SharedSessionSegment, segmentId) == 4104, "segment layout");
static_assert(offsetof(SharedSessionSegment, certificatePath) == 4108, "segment layout");
static_assert(sizeof(SharedSessionSegment) == 4236, "segment layout");

// Size and ftok project identifier ('R') of the store's segment.
constexpr int kSessionSegmentSize = static_cast<int>(sizeof(SharedSessionSegment));
constexpr int kSessionProjectId = 82;
// Largest session encoding the store holds.
constexpr int kMaxStoredSessionLength = static_cast<int>(sizeof(SharedSessionSegment::sessionData));

// One certificate's store as this process sees it. Made by
// sessionStoreFor() and kept for the life of the process, so a pointer to
// it stays valid even after the segment has been detached.
struct SessionStore;

// Where this process attached the store of the first certificate it used,
// or null. Kept for applications that read it; the library itself goes
// through each certificate's SessionStore. detachSessionStore() unmaps the
// segment but leaves the address here, so use sessionStoreAttached() to
// know whether it may be read.
extern SharedSessionSegment* mSharedContainer;

// Opens the segment keyed by ftok(path, projectId), creating it (mode
// 0600, size bytes) when it does not exist, and attaches it. Stores the
// segment identifier in segmentId. Returns the address, null when ftok or
// shmget fails (with a perror line "ftok" or "shmget", except when the
// segment belongs to another user, which is no fault of this process and
// is passed over silently), or shmat's (void*)-1 when the attach fails.
// The caller detaches the result with detachFromSharedMemory().
void* createSharedMemorySpace(const char* path, int& segmentId, int size, int projectId);

// Detaches a segment; nothing for null. A failed detach prints a perror
// line "detachFromSharedMemory".
void detachFromSharedMemory(void* address);

// Removes segment segmentId once no process is attached to it any more;
// nothing for 0 or while other processes still use it.
void deleteSharedMemory(int segmentId);

// The store of certificatePath for this process, attached on the first
// call for that path: opens or creates the segment, records the path (cut
// to 127 bytes) and segment identifier in it, and clears its lock, even
// one another process holds at that moment, so that a lock left by a
// crashed process is freed by the next process. When this call attached
// the segment, stores its identifier in *segmentId (when not null). A
// segment that cannot be had (another user's, ftok failing) leaves the
// store without a segment until detachSessionStore() runs. Null only for a
// null path. Thread-safe.
SessionStore* sessionStoreFor(const char* certificatePath, int* segmentId = nullptr);

// The segment of store, or null while it has none. The address is valid
// until detachSessionStore().
SharedSessionSegment* storeSegment(SessionStore* store);

// Detaches every store of this process and frees the sessions decoded
// from them (mSharedContainer keeps its address; sessionStoreAttached()
// turns false). A later sessionStoreFor() attaches again. Run when the
// pool of SSL contexts goes.
void detachSessionStore();

// True while this process has the store of mSharedContainer attached.
bool sessionStoreAttached();

// A copy of the session stored in store's segment, or null when none is
// stored, its bytes are unusable or changed while being read, or the lock
// could not be had. The lock is held only while the bytes are copied out;
// they are decoded only when they differ from the ones this process
// decoded or stored last (another process stored a new session), and
// outside any lock. *generation (when not null) receives a number that
// changes whenever the stored session's gateway certificate does: new
// sessions from the same gateway keep it. The caller frees the result.
SSL_SESSION* copyStoredSession(SessionStore* store, uint64_t* generation = nullptr);

// Whether the gateway certificate of generation (from copyStoredSession())
// passes verify for verifier, a text naming what verify checks against
// (CA file, expected gateway name). verify runs once per gateway
// certificate and verifier, and again after kStoredSessionVerdictSeconds
// so that a gateway certificate that expired meanwhile is noticed; its
// answer is remembered otherwise, across the sessions that certificate
// comes with. One thread of the process verifies at a time; the others
// wait for its verdict.
bool storedSessionVerdict(SessionStore* store, uint64_t generation, const std::string& verifier,
                          const std::function<bool()>& verify);

// Makes ctx store sessions in store: the callbacks below find it through
// ctx. The store lives as long as the process, so nothing unbinds it.
void bindSessionStore(SSL_CTX* ctx, SessionStore* store);

// OpenSSL's new-session callback: stores session in the store bound to
// the connection's context, replacing the one stored, and keeps a copy of
// it as this process's decoded form of the stored bytes. Waits at most
// about 10 ms for the lock. TLS 1.3 sessions
// arrive here while the reply is read, TLS 1.2 ones at the end of the
// handshake. Returns 0 (OpenSSL keeps no extra reference for the store),
// or -1 when the context has no store, the lock cannot be had or the
// encoding is longer than 4096 bytes; the stored session then stays as it
// was. Like every new-session callback it is handed a reference of its
// own to session: it releases that reference when it returns -1.
int ssl_callback_NewSessionCacheEntry(SSL* ssl, SSL_SESSION* session);

// OpenSSL's get-session callback. Always null: sessions are never looked
// up by identifier; the stored one is offered before the handshake by
// BSSLContext::getSession().
SSL_SESSION* ssl_callback_GetSessionCacheEntry(SSL* ssl, const unsigned char* id, int idLength,
                                               int* copy);

// OpenSSL's remove-session callback. OpenSSL calls it for many reasons (a
// failed connection, a single-use ticket consumed, a TLS 1.2 session
// replaced by a new ticket). Only a removal made while the thread's
// OpenSSL error queue holds an error (a failed connection) clears the
// stored session (length 0), and only when session is the one stored
// (same session ID or same ticket); after a connection that went well the
// stored session stays until a new one replaces it. The segment always
// stays attached and is never deleted. Waits at most about 10 ms for the
// lock.
void ssl_callback_DelSessionCacheEntry(SSL_CTX* ctx, SSL_SESSION* session);

// Diagnostic entry points kept for applications that call them; they do
// nothing.
void dumpSessionInfo(SSL_SESSION* session, const char* label);
void dumpSSLStats(SSL_CTX* ctx);

#endif  // ZELVAN_SESSIONSTORE_H_
