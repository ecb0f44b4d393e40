#include "sslPool.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "BHashTable.h"
#include "BPlatform.h"
#include "BSSLContext.h"
#include "BString.h"
#include "BVector.h"
#include "memTrack.h"
#include "policy.h"
#include "processState.h"

BHashTable* m_ssl_contexts = nullptr;
int m_ssl_locks = 0;

namespace {

// How long a caller waits for the pool before giving up: what 1000 waits
// of 5 ms used to add up to.
constexpr std::chrono::milliseconds kLockGiveUp(kPoolLockGiveUpMs);

// Guards m_ssl_locks, which stays the pool lock's state; waiters sleep on
// gPoolFree until a holder releases the lock or the give-up time passes.
std::mutex gCounterGuard;
ZV_PROCESS_STATE std::condition_variable gPoolFree;

// The context this thread took last. Only compared with the contexts of
// a list, never followed: the pool may have freed it since.
thread_local const BSSLContext* tLastTaken = nullptr;

// Takes an idle context of list, or returns null: the one this thread
// used last if it is idle, else the first idle one. A thread that keeps
// its context finds its connection's buffers in its own cache and frees
// them to its own malloc arena, instead of contending with the thread that
// used them before.
BSSLContext* takeIdle(BVector* list) {
  BSSLContext* chosen = nullptr;
  for (int i = 0; i < list->size(); i++) {
    BObject* element = list->get(i, 0);
    if (element == nullptr || !element->instanceOf(BSSLContext::staticType())) continue;
    BSSLContext* context = static_cast<BSSLContext*>(element);
    if (context->inUse()) continue;
    if (chosen == nullptr || context == tLastTaken) chosen = context;
    if (context == tLastTaken) break;
  }
  if (chosen != nullptr) chosen->setInUse(1);
  return chosen;
}

}  // namespace

void create_ssl_pool() {
  if (m_ssl_contexts == nullptr) m_ssl_contexts = trackNew(new BHashTable(), "ssl context pool");
}

void destroy_ssl_pool() {
  // The table owns every key, list and SSL context it holds. What the
  // contexts shared goes with them, so that unloading the library leaves
  // nothing behind.
  trackDelete(m_ssl_contexts);
  m_ssl_contexts = nullptr;
  releaseSslProcessState();
}

int get_ssl_lock() {
  std::unique_lock<std::mutex> guard(gCounterGuard);
  if (!gPoolFree.wait_for(guard, kLockGiveUp, [] { return m_ssl_locks == 0; })) return 0;
  m_ssl_locks = 1;
  return 1;
}

void release_ssl_lock() {
  {
    std::lock_guard<std::mutex> guard(gCounterGuard);
    // A release without a holder must not leave the counter below zero,
    // where no caller could take the lock again.
    if (m_ssl_locks > 0) m_ssl_locks--;
  }
  gPoolFree.notify_one();
}

void* get_ssl(const char* certificatePath, const char* password, const char* caFile) {
  if (!get_ssl_lock()) return nullptr;
  // Without the table (before the library's start or after free_client)
  // there is no pool to take from.
  if (m_ssl_contexts == nullptr) {
    release_ssl_lock();
    return nullptr;
  }
  BVector* keyVector = trackNew(new BVector(), "ssl pool key");
  keyVector->add(trackNew(new BString(certificatePath), "ssl pool key text"), 1);
  keyVector->add(trackNew(new BString(password), "ssl pool key text"), 1);
  keyVector->add(trackNew(new BString(caFile), "ssl pool key text"), 1);
  BObject* key = keyVector;

  BVector* list = nullptr;
  BObject* found = m_ssl_contexts->get(key);
  if (found != nullptr && found->instanceOf(BVector::staticType())) {
    list = static_cast<BVector*>(found);
  }

  BSSLContext* context = nullptr;
  if (list != nullptr) {
    context = takeIdle(list);
  } else {
    list = trackNew(new BVector(), "ssl context list");
    // The table takes the key (or deletes it and nulls key when an equal
    // key is already stored).
    m_ssl_contexts->put(&key, list, 1, 1);
    key = nullptr;
  }

  if (context == nullptr) {
    context = trackNew(new BSSLContext(certificatePath, password, caFile), "ssl context");
    context->setInUse(1);
    list->add(context, 1);
  }

  tLastTaken = context;
  trackDelete(key);
  release_ssl_lock();
  return context;
}

void release_ssl(void* context) {
  if (context == nullptr) return;
  // Cleared while the pool is held: a caller of get_ssl() can only see the
  // context idle once its connection is fully reset. Without the lock the
  // context stays marked in use, and the pool builds another one.
  if (!get_ssl_lock()) return;
  static_cast<BSSLContext*>(context)->setInUse(0);
  release_ssl_lock();
}

int get_ssl_key_count() {
  if (!get_ssl_lock()) return -1;
  int count = m_ssl_contexts != nullptr ? m_ssl_contexts->size() : 0;
  release_ssl_lock();
  return count;
}

int get_ssl_object_count() {
  if (!get_ssl_lock()) return -1;
  int count = 0;
  if (m_ssl_contexts != nullptr) {
    BVector* values = m_ssl_contexts->getValues();
    for (int i = 0; i < values->size(); i++) {
      BObject* value = values->get(i, 0);
      if (value != nullptr && value->instanceOf(BVector::staticType())) {
        count += static_cast<BVector*>(value)->size();
      }
    }
    trackDelete(values);
  }
  release_ssl_lock();
  return count;
}
