#include "sessionStore.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdio>
#include <cstring>

#include "BPlatform.h"

SharedSessionSegment* mSharedContainer = nullptr;

namespace {

// Whether mSharedContainer is mapped. An SSL context's destructor detaches
// the segment but leaves the address in mSharedContainer; without this
// flag a later lock attempt would write through an unmapped address.
bool gStoreMapped = false;

constexpr int kLockWaits = 500;
constexpr int kLockWaitMs = 2;

// The lock byte is shared with other processes: read it afresh each time.
volatile unsigned char& lockByte() { return mSharedContainer->lockFlag; }

}  // namespace

void* createSharedMemorySpace(const char* path, int& segmentId, int size, int projectId) {
  if (path == nullptr) return nullptr;
  key_t key = ftok(path, projectId);
  if (key == -1) {
    perror("ftok");
    return nullptr;
  }
  int id = shmget(key, size, 0666);
  if (id == -1) id = shmget(key, size, IPC_CREAT | 0666);
  if (id == -1) {
    perror("shmget");
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

bool attachSessionStore(const char* certificatePath, int& segmentId) {
  if (mSharedContainer != nullptr) return false;
  void* address = createSharedMemorySpace(certificatePath, segmentId, kSessionSegmentSize,
                                          kSessionProjectId);
  // A failed ftok or shmget gives null and a failed attach (void*)-1;
  // either way the process goes on without a store (every lock attempt
  // fails) rather than writing through that address.
  if (address == nullptr || address == reinterpret_cast<void*>(-1)) return false;
  mSharedContainer = static_cast<SharedSessionSegment*>(address);
  gStoreMapped = true;
  // A path that does not fit is cut to 127 bytes; the field stays
  // NUL-terminated for readers in other processes.
  strncpy(mSharedContainer->certificatePath, certificatePath,
          sizeof mSharedContainer->certificatePath - 1);
  mSharedContainer->certificatePath[sizeof mSharedContainer->certificatePath - 1] = '\0';
  mSharedContainer->segmentId = segmentId;
  __atomic_store_n(&lockByte(), 0, __ATOMIC_RELEASE);
  return true;
}

void detachSessionStore() {
  if (!sessionStoreAttached()) return;
  detachFromSharedMemory(mSharedContainer);
  gStoreMapped = false;
}

bool sessionStoreAttached() { return mSharedContainer != nullptr && gStoreMapped; }

unsigned char getLock() {
  if (!sessionStoreAttached()) return 0;
  // The byte is shared with other processes and threads; the exchange
  // makes taking it one step, so two holders never both see it free.
  for (int waits = 0;; waits++) {
    if (__atomic_exchange_n(&lockByte(), 1, __ATOMIC_ACQUIRE) == 0) return 1;
    if (waits >= kLockWaits) return 0;
    Sleep(kLockWaitMs);
  }
}

void releaseLock() {
  if (sessionStoreAttached()) __atomic_store_n(&lockByte(), 0, __ATOMIC_RELEASE);
}

int ssl_callback_NewSessionCacheEntry(SSL*, SSL_SESSION* session) {
  // OpenSSL hands the callback a reference of its own and takes any
  // non-zero result to mean the callback kept it: a refusal (-1) releases
  // that reference here, or the session would leak.
  if (!getLock()) {
    SSL_SESSION_free(session);
    return -1;
  }
  int length = i2d_SSL_SESSION(session, nullptr);
  if (static_cast<unsigned int>(length) > static_cast<unsigned int>(kMaxStoredSessionLength)) {
    releaseLock();
    SSL_SESSION_free(session);
    return -1;
  }
  unsigned char* out = mSharedContainer->sessionData;
  i2d_SSL_SESSION(session, &out);
  mSharedContainer->sessionLength = length;
  releaseLock();
  return 0;
}

SSL_SESSION* ssl_callback_GetSessionCacheEntry(SSL*, const unsigned char*, int, int*) {
  return nullptr;
}

void ssl_callback_DelSessionCacheEntry(SSL_CTX*, SSL_SESSION*) {
  // OpenSSL may call this again after the store was dropped.
  if (!sessionStoreAttached()) return;
  int segmentId = mSharedContainer->segmentId;
  detachFromSharedMemory(mSharedContainer);
  gStoreMapped = false;
  mSharedContainer = nullptr;
  deleteSharedMemory(segmentId);
}

void dumpSessionInfo(SSL_SESSION*, const char*) {}

void dumpSSLStats(SSL_CTX*) {}
