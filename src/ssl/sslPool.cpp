#include "sslPool.h"

#include <mutex>

#include "BHashTable.h"
#include "BPlatform.h"
#include "BSSLContext.h"
#include "BString.h"
#include "BVector.h"
#include "memTrack.h"

BHashTable* m_ssl_contexts = nullptr;
int m_ssl_locks = 0;

namespace {

constexpr int kLockAttempts = 1001;
constexpr int kLockWaitMs = 5;

// Makes the test-and-take of m_ssl_locks one step for the threads of the
// process; the counter itself stays the lock's state, so the five-second
// give-up works as before.
std::mutex gCounterGuard;

// Takes the first idle context of list, or returns null.
BSSLContext* takeIdle(BVector* list) {
  for (int i = 0; i < list->size(); i++) {
    BObject* element = list->get(i, 0);
    if (element == nullptr || !element->instanceOf(BSSLContext::staticType())) continue;
    BSSLContext* context = static_cast<BSSLContext*>(element);
    if (context->inUse()) continue;
    context->setInUse(1);
    return context;
  }
  return nullptr;
}

}  // namespace

int get_ssl_lock() {
  for (int attempt = 1; attempt <= kLockAttempts; attempt++) {
    {
      std::lock_guard<std::mutex> guard(gCounterGuard);
      if (m_ssl_locks == 0) {
        m_ssl_locks = 1;
        return 1;
      }
    }
    if (attempt < kLockAttempts) Sleep(kLockWaitMs);
  }
  return 0;
}

void release_ssl_lock() {
  std::lock_guard<std::mutex> guard(gCounterGuard);
  // A release without a holder must not leave the counter below zero,
  // where no caller could take the lock again.
  if (m_ssl_locks > 0) m_ssl_locks--;
}

void* get_ssl(const char* certificatePath, const char* password, const char* caFile,
              const char* clientId) {
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
    context = trackNew(new BSSLContext(certificatePath, password, caFile, clientId),
                       "ssl context");
    context->setInUse(1);
    list->add(context, 1);
  }

  trackDelete(key);
  release_ssl_lock();
  return context;
}

int get_ssl_object_count() {
  if (m_ssl_contexts == nullptr) return 0;
  BVector* values = m_ssl_contexts->getValues();
  int count = 0;
  for (int i = 0; i < values->size(); i++) {
    BObject* value = values->get(i, 0);
    if (value != nullptr && value->instanceOf(BVector::staticType())) {
      count += static_cast<BVector*>(value)->size();
    }
  }
  trackDelete(values);
  return count;
}

int getYear(int tmYear) { return tmYear + 1900; }

int getMonth(int tmMon) { return tmMon + 1; }
