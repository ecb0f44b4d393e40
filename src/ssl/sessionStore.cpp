#include "sessionStore.h"

#include <openssl/err.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <list>
#include <map>
#include <mutex>
#include <string>

#include "StoreLock.h"
#include "policy.h"
#include "processState.h"

SharedSessionSegment* mSharedContainer = nullptr;

struct SessionStore {
  explicit SessionStore(const char* p) : path(p) {}
  ~SessionStore() { SSL_SESSION_free(decoded); }
  const std::string path;
  // Null while detached. Atomic because threads read it without the
  // registry's mutex while another thread may attach it.
  std::atomic<SharedSessionSegment*> segment{nullptr};
  // Whether this process already tried to attach the segment; a failed
  // attempt is not repeated on every transaction.
  bool attempted = false;

  // The stored session as this process knows it, with the bytes it was
  // decoded from or encoded to, so that a purchase decodes only when
  // another process stored a new session. Guarded by cacheMutex, which is
  // never held while the segment's lock is.
  std::mutex cacheMutex;
  unsigned char decodedBytes[kMaxStoredSessionLength];
  int decodedLength = 0;
  SSL_SESSION* decoded = nullptr;
  // The DER form of decoded's gateway certificate (empty when it has
  // none), and a number that changes whenever that certificate does:
  // verdicts belong to one gateway certificate, not to one session, since
  // every TLS 1.3 connection brings new tickets from the same gateway.
  std::string gateway;
  uint64_t generation = 0;
  // Whether the gateway certificate verified, per verifier (CA file and
  // expected name), and when that was found.
  std::map<std::string, std::pair<bool, std::chrono::steady_clock::time_point>> verdicts;
  // Held while a verdict is being reached: the copies that threads get
  // share the decoded session's gateway certificate, which OpenSSL's
  // verification writes to, so one thread verifies and the others wait
  // for its verdict. Also held to encode a certificate other threads may
  // be verifying. Taken before cacheMutex, never while holding it.
  std::mutex verifyMutex;
};

namespace {

constexpr int kOwnerOnly = 0600;

// Every store this process has used, never freed: contexts and OpenSSL
// callbacks keep pointers to them.
std::mutex gRegistryMutex;
ZV_PROCESS_STATE std::list<SessionStore> gStores;
// The store whose segment mSharedContainer holds.
SessionStore* gFirstStore = nullptr;

// Segments made by earlier versions of the library were readable and
// writable by every user. The owner narrows such a segment to itself, so
// that no other user reads the master secret of the stored session.
void restrictToOwner(int segmentId) {
  shmid_ds info;
  if (shmctl(segmentId, IPC_STAT, &info) != 0) return;
  if ((info.shm_perm.mode & 0777) == kOwnerOnly || info.shm_perm.uid != geteuid()) return;
  info.shm_perm.mode = (info.shm_perm.mode & ~0777) | kOwnerOnly;
  shmctl(segmentId, IPC_SET, &info);
}

// Attaches store's segment; the registry's mutex is held.
void attach(SessionStore* store, int* segmentId) {
  store->attempted = true;
  int id = 0;
  void* address = createSharedMemorySpace(store->path.c_str(), id, kSessionSegmentSize, kSessionProjectId);
  // A failed ftok or shmget gives null and a failed attach (void*)-1;
  // either way the store stays without a segment (every lock attempt
  // fails) rather than writing through that address.
  if (address == nullptr || address == reinterpret_cast<void*>(-1)) return;
  restrictToOwner(id);
  auto* segment = static_cast<SharedSessionSegment*>(address);
  // A path that does not fit is cut to 127 bytes; the field stays
  // NUL-terminated for readers in other processes.
  strncpy(segment->certificatePath, store->path.c_str(), sizeof segment->certificatePath - 1);
  segment->certificatePath[sizeof segment->certificatePath - 1] = '\0';
  segment->segmentId = id;
  __atomic_store_n(&segment->lockFlag, 0, __ATOMIC_RELEASE);
  store->segment = segment;
  if (segmentId != nullptr) *segmentId = id;
  if (gFirstStore == nullptr || gFirstStore->segment == nullptr) {
    gFirstStore = store;
    mSharedContainer = segment;
  }
}

// The index under which an SSL_CTX keeps its SessionStore.
int storeIndex() {
  static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

SessionStore* storeOf(SSL_CTX* ctx) {
  return ctx ? static_cast<SessionStore*>(SSL_CTX_get_ex_data(ctx, storeIndex())) : nullptr;
}

bool sameBytes(const unsigned char* a, size_t aLength, const unsigned char* b, size_t bLength) {
  return aLength > 0 && aLength == bLength && memcmp(a, b, aLength) == 0;
}

// Whether a and b are one session: same session ID, or same ticket.
bool sameSession(const SSL_SESSION* a, const SSL_SESSION* b) {
  unsigned int aIdLength = 0, bIdLength = 0;
  const unsigned char* aId = SSL_SESSION_get_id(a, &aIdLength);
  const unsigned char* bId = SSL_SESSION_get_id(b, &bIdLength);
  if (sameBytes(aId, aIdLength, bId, bIdLength)) return true;
  const unsigned char* aTicket = nullptr;
  const unsigned char* bTicket = nullptr;
  size_t aTicketLength = 0, bTicketLength = 0;
  SSL_SESSION_get0_ticket(a, &aTicket, &aTicketLength);
  SSL_SESSION_get0_ticket(b, &bTicket, &bTicketLength);
  return sameBytes(aTicket, aTicketLength, bTicket, bTicketLength);
}

// Copies the stored session's bytes into out (kMaxStoredSessionLength
// bytes) under the segment's lock. Returns their length, 0 when nothing
// usable is stored, -1 when the lock could not be had. The length and the
// bytes come from other processes, and a process that started meanwhile
// may have cleared the lock while another writes: a second look must find
// the same length and bytes, and only a length within the data field is
// read. Any doubt means no session, which costs one full handshake.
int copyOut(SessionStore* store, unsigned char* out, int maxWaits) {
  StoreLock lock(store, maxWaits);
  if (!lock.held()) return -1;
  SharedSessionSegment* segment = lock.segment();
  int length = __atomic_load_n(&segment->sessionLength, __ATOMIC_ACQUIRE);
  if (length <= 0 || length > kMaxStoredSessionLength) return 0;
  memcpy(out, segment->sessionData, length);
  if (__atomic_load_n(&segment->sessionLength, __ATOMIC_ACQUIRE) != length ||
      memcmp(out, segment->sessionData, length) != 0) {
    return 0;
  }
  return length;
}

// The DER form of session's gateway certificate, empty when it has none.
// The certificate must not be in use by another thread.
std::string gatewayOf(const SSL_SESSION* session) {
  X509* gateway = SSL_SESSION_get0_peer(const_cast<SSL_SESSION*>(session));
  int length = gateway ? i2d_X509(gateway, nullptr) : 0;
  if (length <= 0) return std::string();
  std::string der(length, '\0');
  auto* out = reinterpret_cast<unsigned char*>(&der[0]);
  return i2d_X509(gateway, &out) == length ? der : std::string();
}

// Makes session (whose reference store takes) the decoded form of bytes.
// A gateway certificate other than the one known starts a new generation
// with no verdicts; the same one keeps them. Returns the generation.
uint64_t adopt(SessionStore* store, SSL_SESSION* session, const unsigned char* bytes, int length,
               std::string gateway) {
  std::lock_guard<std::mutex> guard(store->cacheMutex);
  SSL_SESSION_free(store->decoded);
  store->decoded = session;
  memcpy(store->decodedBytes, bytes, length);
  store->decodedLength = length;
  if (gateway != store->gateway) {
    store->gateway = std::move(gateway);
    store->generation++;
    store->verdicts.clear();
  }
  return store->generation;
}

// A private copy of the session encoded in bytes, decoded only when the
// bytes differ from those store knows. Null when they do not decode.
// *generation receives the generation of the session's gateway.
SSL_SESSION* copyOfDecoded(SessionStore* store, const unsigned char* bytes, int length, uint64_t* generation) {
  {
    std::lock_guard<std::mutex> guard(store->cacheMutex);
    if (store->decoded != nullptr && store->decodedLength == length &&
        memcmp(store->decodedBytes, bytes, length) == 0) {
      *generation = store->generation;
      return SSL_SESSION_dup(store->decoded);
    }
  }
  // Decoded without any lock held: other threads go on meanwhile. The
  // fresh session's certificate is this thread's alone until adopted.
  const unsigned char* in = bytes;
  SSL_SESSION* fresh = d2i_SSL_SESSION(nullptr, &in, length);
  if (fresh == nullptr) return nullptr;
  // Copied before it is shared: once adopted, another thread may replace
  // and free it.
  SSL_SESSION* copy = SSL_SESSION_dup(fresh);
  *generation = adopt(store, fresh, bytes, length, gatewayOf(fresh));
  // Connections get copies: OpenSSL marks a session it gives up on, which
  // must not reach the copy other threads take theirs from.
  return copy;
}

// After this process stored session as bytes, keeps a copy of it as the
// decoded form of those bytes, so that the next purchase does not decode
// what this process has just encoded. A copy rather than session itself:
// the connection goes on using and changing its own session (OpenSSL
// marks it not resumable when it removes it) while other threads copy
// from the decoded one.
void rememberStored(SessionStore* store, const SSL_SESSION* session, const unsigned char* bytes, int length) {
  SSL_SESSION* kept = SSL_SESSION_dup(session);
  if (kept == nullptr) return;
  X509* gateway = SSL_SESSION_get0_peer(kept);
  std::string der;
  bool known = false;
  {
    // A resumed connection's session shares the known session's
    // certificate object: its encoding is known already.
    std::lock_guard<std::mutex> guard(store->cacheMutex);
    if (store->decoded != nullptr && gateway == SSL_SESSION_get0_peer(store->decoded)) {
      der = store->gateway;
      known = true;
    }
  }
  if (!known) {
    // The certificate may be shared with copies another thread is
    // verifying.
    std::lock_guard<std::mutex> verifying(store->verifyMutex);
    der = gatewayOf(kept);
  }
  adopt(store, kept, bytes, length, std::move(der));
}

}  // namespace

void* createSharedMemorySpace(const char* path, int& segmentId, int size, int projectId) {
  if (path == nullptr) return nullptr;
  key_t key = ftok(path, projectId);
  if (key == -1) {
    perror("ftok");
    return nullptr;
  }
  int id = shmget(key, size, kOwnerOnly);
  if (id == -1 && errno == ENOENT) id = shmget(key, size, IPC_CREAT | kOwnerOnly);
  if (id == -1) {
    // Another user's segment for the same file: this process simply has
    // no store, and the merchant's standard error stays clean.
    if (errno != EACCES) perror("shmget");
    return nullptr;
  }
  void* address = shmat(id, nullptr, 0);
  segmentId = id;
  return address;
}

void detachFromSharedMemory(void* address) {
  if (address == nullptr) return;
  if (shmdt(address) == -1) perror("detachFromSharedMemory");
}

void deleteSharedMemory(int segmentId) {
  if (segmentId == 0) return;
  shmid_ds info;
  if (shmctl(segmentId, IPC_STAT, &info) == 0 && info.shm_nattch == 0) {
    shmctl(segmentId, IPC_RMID, nullptr);
  }
}

SessionStore* sessionStoreFor(const char* certificatePath, int* segmentId) {
  if (certificatePath == nullptr) return nullptr;
  std::lock_guard<std::mutex> guard(gRegistryMutex);
  SessionStore* store = nullptr;
  for (SessionStore& s : gStores) {
    if (s.path == certificatePath) store = &s;
  }
  if (store == nullptr) store = &gStores.emplace_back(certificatePath);
  if (!store->attempted) attach(store, segmentId);
  return store;
}

SharedSessionSegment* storeSegment(SessionStore* store) { return store ? store->segment.load() : nullptr; }

void detachSessionStore() {
  std::lock_guard<std::mutex> guard(gRegistryMutex);
  for (SessionStore& store : gStores) {
    detachFromSharedMemory(store.segment.exchange(nullptr));
    store.attempted = false;
    std::lock_guard<std::mutex> cacheGuard(store.cacheMutex);
    SSL_SESSION_free(store.decoded);
    store.decoded = nullptr;
    store.decodedLength = 0;
    store.gateway.clear();
    store.generation++;
    store.verdicts.clear();
  }
}

bool sessionStoreAttached() {
  std::lock_guard<std::mutex> guard(gRegistryMutex);
  return gFirstStore != nullptr && mSharedContainer != nullptr && gFirstStore->segment == mSharedContainer;
}

void bindSessionStore(SSL_CTX* ctx, SessionStore* store) { SSL_CTX_set_ex_data(ctx, storeIndex(), store); }

int ssl_callback_NewSessionCacheEntry(SSL* ssl, SSL_SESSION* session) {
  // OpenSSL hands the callback a reference of its own and takes any
  // non-zero result to mean the callback kept it: a refusal (-1) releases
  // that reference here, or the session would leak.
  SessionStore* store = storeOf(ssl ? SSL_get_SSL_CTX(ssl) : nullptr);
  // Encoded before the lock is taken: the lock covers the copy only.
  unsigned char encoded[kMaxStoredSessionLength];
  int length = i2d_SSL_SESSION(session, nullptr);
  unsigned char* out = encoded;
  bool fits = length > 0 && length <= kMaxStoredSessionLength && i2d_SSL_SESSION(session, &out) == length;
  {
    StoreLock lock(fits ? store : nullptr, kStoreCallbackLockWaits);
    if (!lock.held()) {
      SSL_SESSION_free(session);
      return -1;
    }
    SharedSessionSegment* segment = lock.segment();
    // A reader that comes in while the bytes change (a process that
    // started meanwhile clears the lock as it attaches) sees no session
    // rather than the new bytes under the old length.
    __atomic_store_n(&segment->sessionLength, 0, __ATOMIC_RELEASE);
    memcpy(segment->sessionData, encoded, length);
    __atomic_store_n(&segment->sessionLength, length, __ATOMIC_RELEASE);
  }
  rememberStored(store, session, encoded, length);
  return 0;
}

SSL_SESSION* copyStoredSession(SessionStore* store, uint64_t* generation) {
  uint64_t ignored = 0;
  if (generation == nullptr) generation = &ignored;
  if (store == nullptr) return nullptr;
  unsigned char bytes[kMaxStoredSessionLength];
  int length = copyOut(store, bytes, kStoreLockWaits);
  return length > 0 ? copyOfDecoded(store, bytes, length, generation) : nullptr;
}

bool storedSessionVerdict(SessionStore* store, uint64_t generation, const std::string& verifier,
                          const std::function<bool()>& verify) {
  auto now = std::chrono::steady_clock::now();
  auto known = [&](bool* trusted) {
    std::lock_guard<std::mutex> guard(store->cacheMutex);
    auto found = store->verdicts.find(verifier);
    if (generation != store->generation || found == store->verdicts.end() ||
        now - found->second.second >= std::chrono::seconds(kStoredSessionVerdictSeconds)) {
      return false;
    }
    *trusted = found->second.first;
    return true;
  };
  bool trusted = false;
  if (known(&trusted)) return trusted;
  // Verified without the cache's mutex, so that purchases of sessions
  // already judged go on meanwhile.
  std::lock_guard<std::mutex> verifying(store->verifyMutex);
  if (known(&trusted)) return trusted;
  trusted = verify();
  std::lock_guard<std::mutex> guard(store->cacheMutex);
  if (generation == store->generation) store->verdicts[verifier] = {trusted, now};
  return trusted;
}

SSL_SESSION* ssl_callback_GetSessionCacheEntry(SSL*, const unsigned char*, int, int*) {
  return nullptr;
}

void ssl_callback_DelSessionCacheEntry(SSL_CTX* ctx, SSL_SESSION* session) {
  // OpenSSL also removes sessions from connections that went well: a
  // TLS 1.3 ticket just used (tickets are meant for one use), a TLS 1.2
  // session whose ticket the gateway renewed. The new session arrives
  // through the new-session callback, under TLS 1.3 only once the reply is
  // read; clearing the store in between would send every process that
  // starts in that gap to a full handshake. Such a removal leaves the
  // thread's error queue empty (the handshake clears it first), whereas a
  // failed connection puts its reason there before OpenSSL removes the
  // session (a fatal alert sent or received): only then is the stored
  // session dropped. A gateway that refuses a ticket kept here simply
  // makes a full handshake, whose session replaces it.
  if (ERR_peek_error() == 0) return;
  SessionStore* store = storeOf(ctx);
  if (session == nullptr || store == nullptr) return;
  unsigned char bytes[kMaxStoredSessionLength];
  int length = copyOut(store, bytes, kStoreCallbackLockWaits);
  uint64_t generation = 0;
  SSL_SESSION* stored = length > 0 ? copyOfDecoded(store, bytes, length, &generation) : nullptr;
  bool same = stored != nullptr && sameSession(stored, session);
  SSL_SESSION_free(stored);
  if (!same) return;
  // Cleared only when the store still holds the bytes just compared.
  StoreLock lock(store, kStoreCallbackLockWaits);
  SharedSessionSegment* segment = lock.segment();
  if (segment != nullptr && __atomic_load_n(&segment->sessionLength, __ATOMIC_ACQUIRE) == length &&
      memcmp(segment->sessionData, bytes, length) == 0) {
    __atomic_store_n(&segment->sessionLength, 0, __ATOMIC_RELEASE);
  }
}

void dumpSessionInfo(SSL_SESSION*, const char*) {}

void dumpSSLStats(SSL_CTX*) {}
