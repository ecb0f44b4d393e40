#ifndef ZELVAN_SSLPOOL_H_
#define ZELVAN_SSLPOOL_H_

class BHashTable;

// The per-process pool of SSL contexts. Building a context (loading the
// client certificate and key) is costly, so every context built is kept
// and an idle one is handed out again for the same certificate path,
// password and CA file. The pool only grows while the client runs.

// Key: a BVector of three BStrings (certificate path, password, CA file);
// value: a BVector of the BSSLContexts built for them, in order of
// creation. The table owns keys, values and contexts. Created when the
// library is loaded, deleted by free_client().
extern BHashTable* m_ssl_contexts;

// Creates the pool's empty table unless it exists. Runs when the library
// is loaded and again when the client is initialised after free_client().
void create_ssl_pool();

// Deletes the pool's table with every key, list and context in it, and
// leaves m_ssl_contexts null; then frees what the contexts shared
// (releaseSslProcessState()). Call only when no transaction runs.
void destroy_ssl_pool();

// 0 while the pool is free, 1 while one caller holds it.
extern int m_ssl_locks;

// Returns a BSSLContext marked in use, reusing an idle one built for the
// same path, password and CA file, or null when the pool lock could not be
// had within about five seconds. The context stays the pool's: hand it back with
// release_ssl(), never delete it.
void* get_ssl(const char* certificatePath, const char* password, const char* caFile);

// Hands a context that get_ssl() gave out back to the pool: resets its
// connection and marks it idle, both under the pool lock, so that no other
// thread can take it half-reset. Its socket must be closed or no longer
// read by the caller. A null context is ignored.
void release_ssl(void* context);

// Takes the pool lock, waiting up to about five seconds for its holder.
// Returns true on success, false after giving up.
int get_ssl_lock();

// Releases the pool lock and wakes one waiter.
void release_ssl_lock();

// The number of contexts in the pool, in use or not, counted under the
// pool lock; -1 when the lock could not be had.
int get_ssl_object_count();

// The number of credential keys in the pool, counted under the pool lock;
// -1 when the lock could not be had.
int get_ssl_key_count();

#endif  // ZELVAN_SSLPOOL_H_
