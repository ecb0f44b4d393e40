#ifndef ZELVAN_SESSIONSTORE_H_
#define ZELVAN_SESSIONSTORE_H_

#include <openssl/ssl.h>

#include <cstddef>
#include <cstdint>

// The SSL session store: the one most recent SSL session of a client
// certificate, kept in a System V shared-memory segment so that every
// process on the machine that uses the same certificate file resumes the
// same session. The segment is keyed by ftok(certificatePath, 82) and is
// attached by the first SSL context a process builds (see BSSLContext).
//
// Every process and thread that uses the segment serialises its access
// with the segment's lock byte. The lock is a best-effort plain byte, not
// an atomic: it bounds the time a crashed holder can cost (about one
// second) rather than guaranteeing exclusion.

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

// Where this process attached the store, or null when it has none. Set by
// the first SSL context of the process; cleared by the remove-session
// callback. An SSL context's destructor detaches the segment but leaves
// the address here, so use sessionStoreAttached() to know whether it may
// be read.
extern SharedSessionSegment* mSharedContainer;

// Opens the segment keyed by ftok(path, projectId), creating it (mode
// 0666, size bytes) when it does not exist, and attaches it. Stores the
// segment identifier in segmentId. Returns the address, null when ftok or
// shmget fails (with a perror line "ftok" or "shmget"), or shmat's
// (void*)-1 when the attach fails. The caller detaches the result with
// detachFromSharedMemory().
void* createSharedMemorySpace(const char* path, int& segmentId, int size, int projectId);

// Detaches a segment; nothing for null. A failed detach prints a perror
// line "detachFromSharedMemory".
void detachFromSharedMemory(void* address);

// Removes segment segmentId once no process is attached to it any more;
// nothing for 0 or while other processes still use it.
void deleteSharedMemory(int segmentId);

// Attaches the store of certificatePath for this process when it has none
// yet (mSharedContainer null): opens or creates the segment, records the
// path (cut to 127 bytes) and segment identifier in it, and clears its
// lock, even one another process holds at that moment, so that a lock left
// by a crashed process is freed by the next process. Stores the identifier
// in segmentId. When the segment cannot be had the process stays without a
// store. Returns true when this call attached the store.
bool attachSessionStore(const char* certificatePath, int& segmentId);

// Detaches the store from this process without forgetting its address
// (mSharedContainer keeps it, sessionStoreAttached() turns false): the
// process has no store from then on. Nothing when no store is attached.
void detachSessionStore();

// True while this process has the store attached and may read it.
bool sessionStoreAttached();

// Takes the store's lock, waiting at most 500 times 2 ms for a holder to
// release it. Returns 1 with the lock, 0 after the wait or when the
// process has no store.
unsigned char getLock();

// Releases the store's lock, whoever holds it. Nothing without a store.
void releaseLock();

// OpenSSL's new-session callback: stores session in the segment, replacing
// the one stored. Returns 0 (OpenSSL keeps no extra reference for the
// store), or -1 when the lock cannot be had or the encoding is longer than
// 4096 bytes; the stored session then stays as it was. Like every
// new-session callback it is handed a reference of its own to session:
// it releases that reference when it returns -1.
int ssl_callback_NewSessionCacheEntry(SSL* ssl, SSL_SESSION* session);

// OpenSSL's get-session callback. Always null: sessions are never looked
// up by identifier; the stored one is offered before the handshake by
// BSSLContext::getSession().
SSL_SESSION* ssl_callback_GetSessionCacheEntry(SSL* ssl, const unsigned char* id, int idLength,
                                               int* copy);

// OpenSSL's remove-session callback: drops the whole store for the rest of
// the process (detaches it, clears mSharedContainer and removes the
// segment when no other process uses it). The session itself is left
// alone. Nothing when the process has no store attached.
void ssl_callback_DelSessionCacheEntry(SSL_CTX* ctx, SSL_SESSION* session);

// Diagnostic entry points kept for applications that call them; they do
// nothing.
void dumpSessionInfo(SSL_SESSION* session, const char* label);
void dumpSSLStats(SSL_CTX* ctx);

#endif  // ZELVAN_SESSIONSTORE_H_
